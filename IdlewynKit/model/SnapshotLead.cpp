// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/SnapshotLead.hpp>

#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace idlewyn {

namespace {

constexpr std::string_view separator = " · ";

struct Candidate {
  SessionStatus status;
  std::int64_t count;
  std::string_view label;
};

std::string counted(std::int64_t count, std::string_view label) {
  return std::to_string(count).append(" ").append(label);
}

Candidate chooseLead(std::int64_t waiting, std::int64_t working, std::int64_t finished,
                     std::int64_t failed, std::int64_t total) {
  if (waiting >= 1)
    return {SessionStatus::waitingForInput, waiting, waiting == 1 ? "needs you" : "need you"};
  if (working > 0) return {SessionStatus::working, working, "working"};
  if (failed > 0) return {SessionStatus::failed, failed, "failed"};
  return {SessionStatus::finished, finished, total != 0 ? "finished" : "sessions"};
}

std::string joinOthers(std::span<const Candidate> candidates, SessionStatus lead) {
  std::string joined;
  for (const Candidate& candidate : candidates) {
    if (candidate.status == lead || candidate.count <= 0) continue;
    if (!joined.empty()) joined += separator;
    joined += counted(candidate.count, candidate.label);
  }
  return joined;
}

}  // namespace

SnapshotLead::SnapshotLead(const SessionSnapshot& snapshot)
    : SnapshotLead(snapshot.count(SessionStatus::waitingForInput), snapshot.workingCount(),
                   snapshot.count(SessionStatus::finished), snapshot.count(SessionStatus::failed),
                   static_cast<std::int64_t>(snapshot.sessions.size())) {}

SnapshotLead::SnapshotLead(std::int64_t waiting, std::int64_t working, std::int64_t finished,
                           std::int64_t failed, std::int64_t total)
    : count_(0), status_(SessionStatus::finished), isEmpty_(total == 0) {
  const Candidate lead = chooseLead(waiting, working, finished, failed, total);
  count_ = lead.count;
  status_ = lead.status;
  label_ = lead.label;
  const std::array<Candidate, 4> candidates{{
      {SessionStatus::waitingForInput, waiting, "need you"},
      {SessionStatus::working, working, "working"},
      {SessionStatus::failed, failed, "failed"},
      {SessionStatus::finished, finished, "finished"},
  }};
  others_ = joinOthers(candidates, status_);
}

std::string SnapshotLead::summary() const {
  if (isEmpty_) return "No sessions";
  std::string text = counted(count_, label_);
  if (!others_.empty()) text.append(separator).append(others_);
  return text;
}

}  // namespace idlewyn
