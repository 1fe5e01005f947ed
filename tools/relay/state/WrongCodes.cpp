// SPDX-License-Identifier: MIT
#include <tools/relay/state/WrongCodes.hpp>

namespace idlewyn::relay {

bool WrongCodes::isTooMany(const std::string& origin, Date now) {
  std::erase_if(counts_, [&](const auto& entry) { return entry.second.since + window < now; });
  const bool isFull = counts_.size() >= mostOrigins && !counts_.contains(origin);
  const auto [entry, isNew] = counts_.try_emplace(isFull ? std::string() : origin, Count{now, 0});
  return ++entry->second.wrong > allowed;
}

}  // namespace idlewyn::relay
