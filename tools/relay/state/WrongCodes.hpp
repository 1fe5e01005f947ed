// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <string>

#include <IdlewynKit/platform/base/Date.hpp>

/// Counts wrong pairing codes by address, so that nobody can try many. A right code is never
/// asked about here, and so never refused.
///
///     if (!isRight) return wrong.isTooMany(origin, now) ? tooManyAttempts : wrongCode;
namespace idlewyn::relay {

using platform::Date;

class WrongCodes {
 public:
  static constexpr int allowed = 10;
  static constexpr std::chrono::seconds window{60};
  /// Addresses that are remembered; beyond them all new ones share one count.
  static constexpr std::size_t mostOrigins = 4096;

  /// Counts one more. True once an address had more than `allowed` of them within `window`.
  bool isTooMany(const std::string& origin, Date now);

 private:
  struct Count {
    Date since;
    int wrong = 0;
  };

  std::map<std::string, Count> counts_;
};

}  // namespace idlewyn::relay
