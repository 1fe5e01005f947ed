// SPDX-License-Identifier: MIT
#include <cmath>
#include <random>
#include <string>

#include "support/SampleSessions.hpp"

namespace idlewyn::bench {
namespace {

class Source {
 public:
  bool chance(int percent) { return below(100) < percent; }
  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
  std::string words(int count) {
    static constexpr const char* list[] = {"refactor", "the",   "session", "decoder",
                                           "so",       "that",  "tests",   "pass",
                                           "on",       "every", "machine"};
    std::string text;
    for (int i = 0; i < count; ++i)
      text.append(i > 0 ? " " : "").append(list[below(11)]);
    return text;
  }
  Date date() {
    const double milliseconds = 7.9e11 + static_cast<double>(random_() % 10'000'000'000u);
    return platform::dateFromReferenceSeconds(std::floor(milliseconds) / 1000);
  }
  template <class T, class Make>
  std::optional<T> maybe(int percent, Make make) {
    if (!chance(percent)) return std::nullopt;
    return make();
  }

 private:
  std::mt19937_64 random_{20'260'305};
};

}  // namespace

std::vector<AgentSession> sampleSessions(std::size_t count) {
  Source source;
  std::vector<AgentSession> sessions;
  sessions.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    std::string id =
        "session-" + std::to_string(source.below(1'000'000'000)) + '-' + std::to_string(i);
    std::string title = source.words(4);
    if (source.chance(10)) title += " \"\u00FCber\"\n\u65E5\u672C";
    auto directory = source.maybe<std::string>(80, [&] {
      return "/home/someone/projects/" + std::to_string(source.below(1000)) + "/application";
    });
    auto summary = source.maybe<std::string>(60, [&] { return source.words(9); });
    auto prompt = source.maybe<PermissionPrompt>(10, [&] {
      return PermissionPrompt("prompt-" + std::to_string(i), "Bash", "npm run " + source.words(3),
                              source.date(), "Bash(npm run:*)");
    });
    auto activity = source.maybe<std::string>(50, [&] { return source.words(5); });
    auto turn = source.maybe<Date>(50, [&] { return source.date(); });
    auto done = source.maybe<std::int64_t>(50, [&] { return source.below(20); });
    auto total = source.maybe<std::int64_t>(50, [&] { return source.below(40); });
    sessions.emplace_back(
        std::move(id), source.chance(50) ? AgentProvider::claude : AgentProvider::codex,
        std::move(title), std::move(directory), static_cast<SessionStatus>(source.below(5)),
        source.date(), source.date(), std::move(summary), std::move(prompt), std::move(activity),
        turn, done, total);
  }
  return sessions;
}

}  // namespace idlewyn::bench
