// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/SessionTransition.hpp>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <utility>

#include <boost/unordered/unordered_flat_map.hpp>

namespace idlewyn {

namespace {

/// Eight bytes at a time. Agents choose ids, but not the seed, so they can't make ids collide.
class IDHash {
 public:
  using is_avalanching = void;

  explicit IDHash(std::uint64_t seed) noexcept : seed_(seed) {}

  std::size_t operator()(std::string_view id) const noexcept {
    const char* text = id.data();
    std::uint64_t hash = seed_ ^ id.size();
    if (id.size() < 8) {
      std::uint64_t bytes = 0;
      for (const char c : id)
        bytes = bytes << 8 | static_cast<unsigned char>(c);
      return mixed(hash ^ bytes);
    }
    // The last eight bytes overlap those before them.
    const std::size_t last = id.size() - 8;
    for (std::size_t at = 0; at < last; at += 8)
      hash = mixed(hash ^ word(text + at));
    return mixed(hash ^ word(text + last));
  }

 private:
  __extension__ using Wide = unsigned __int128;

  static std::uint64_t word(const char* text) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, text, sizeof word);
    return word;
  }
  static std::uint64_t mixed(std::uint64_t value) noexcept {
    const Wide product = Wide{value} * 0x9E37'79B9'7F4A'7C15u;
    return static_cast<std::uint64_t>(product >> 64) ^ static_cast<std::uint64_t>(product);
  }

  std::uint64_t seed_;
};

using SessionsByID = boost::unordered_flat_map<std::string_view, const AgentSession*, IDHash>;

constexpr std::size_t lookAhead = 8;

/// The last one if several have an id.
SessionsByID indexByID(const std::vector<AgentSession>& sessions) {
  SessionsByID index(sessions.size(), IDHash(reinterpret_cast<std::uintptr_t>(&sessions)));
  for (std::size_t i = 0; i < sessions.size(); ++i) {
    if (i + lookAhead < sessions.size()) __builtin_prefetch(sessions[i + lookAhead].id.data());
    index.insert_or_assign(sessions[i].id, &sessions[i]);
  }
  return index;
}

bool hasNewPrompt(const AgentSession& before, const AgentSession& now) {
  return now.permission && (!before.permission || before.permission->id != now.permission->id);
}

bool needsUserNow(const AgentSession& before, const AgentSession& now) {
  return hasNewPrompt(before, now) || !needsAttention(before.status);
}

}  // namespace

std::vector<SessionTransition> SessionTransition::detect(const SessionSnapshot& from,
                                                         const SessionSnapshot& to) {
  const SessionsByID previous = indexByID(from.sessions);
  std::vector<SessionTransition> transitions;
  for (const AgentSession& session : to.sessions) {
    if (!needsAttention(session.status)) continue;
    const auto before = previous.find(std::string_view(session.id));
    if (before == previous.end() || !needsUserNow(*before->second, session)) continue;
    transitions.push_back(SessionTransition(session, before->second->status));
  }
  return transitions;
}

}  // namespace idlewyn
