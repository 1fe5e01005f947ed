// SPDX-License-Identifier: MIT
// Display order and transitions against the containers of the standard library.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <unordered_map>

#include <IdlewynKit/model/SessionTransition.hpp>

#include "support/Ratio.hpp"
#include "support/SampleSessions.hpp"

using namespace idlewyn;
using namespace idlewyn::bench;

namespace {

std::vector<AgentSession> sortedByLibrary(const SessionSnapshot& snapshot) {
  std::vector<AgentSession> sessions = snapshot.sessions;
  std::stable_sort(sessions.begin(), sessions.end(),
                   [](const AgentSession& a, const AgentSession& b) {
                     const auto left = sortRank(a.status), right = sortRank(b.status);
                     return left != right ? left < right : a.updatedAt > b.updatedAt;
                   });
  return sessions;
}

/// What `detect` looks up, in a map from ids to sessions.
std::size_t detectByLibrary(const SessionSnapshot& from, const SessionSnapshot& to) {
  std::unordered_map<std::string, const AgentSession*> before;
  for (const AgentSession& session : from.sessions)
    before[session.id] = &session;
  std::vector<AgentSession> found;
  for (const AgentSession& session : to.sessions) {
    const auto entry = before.find(session.id);
    if (entry == before.end() || !needsAttention(session.status)) continue;
    const AgentSession& old = *entry->second;
    const bool isPromptNew =
        session.permission && (!old.permission || old.permission->id != session.permission->id);
    if (!needsAttention(old.status) || isPromptNew) found.push_back(session);
  }
  keep(found);
  return found.size();
}

SessionSnapshot sample(std::size_t count) { return {sampleSessions(count), Date()}; }

/// The same sessions in another order, one in a hundred of which now needs attention.
SessionSnapshot later(SessionSnapshot snapshot) {
  std::reverse(snapshot.sessions.begin(), snapshot.sessions.end());
  for (std::size_t i = 0; i < snapshot.sessions.size(); i += 100) {
    snapshot.sessions[i].status = SessionStatus::waitingForInput;
  }
  return snapshot;
}

void compare(Comparisons& comparisons, std::size_t count, Target sorting, Target detection) {
  const SessionSnapshot before = sample(count);
  const SessionSnapshot after = later(before);
  if (before.sorted() != sortedByLibrary(before) ||
      SessionTransition::detect(before, after).size() != detectByLibrary(before, after)) {
    std::puts("the ways to sort and compare do not agree");
    std::exit(2);
  }
  const std::string number = std::to_string(count);
  // The floor of any sorting that gives a new list.
  comparisons.atMost(
      "copy " + number + " / stable_sort", std::numeric_limits<double>::infinity(),
      [&] { keep(std::vector<AgentSession>(before.sessions)); },
      [&] { keep(sortedByLibrary(before)); });
  comparisons.atMost(
      "sorted " + number + " / stable_sort", sorting, [&] { keep(before.sorted()); },
      [&] { keep(sortedByLibrary(before)); });
  comparisons.atMost(
      "detect " + number + " / unordered_map", detection,
      [&] { keep(SessionTransition::detect(before, after)); },
      [&] { keep(detectByLibrary(before, after)); });
}

}  // namespace

int main(int argc, char** argv) {
  Comparisons comparisons(argc, argv);
  // The copy, without which there is no new list, is the floor of sorting.
  compare(comparisons, 1'000, Target(0.38, 0.25), Target(0.35, 0.15));
  compare(comparisons, 100'000, Target(0.42, 0.30), Target(0.45, 0.30));
  return comparisons.finish();
}
