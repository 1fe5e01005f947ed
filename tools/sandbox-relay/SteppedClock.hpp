// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <utility>

#include <IdlewynKit/platform/base/Date.hpp>

namespace idlewyn::sandbox {

using platform::Date;

/// A clock that can be stepped forward on top of the one it is given. May be used from any
/// thread; without steps it is that clock.
class SteppedClock {
 public:
  explicit SteppedClock(std::function<Date()> base) : base_(std::move(base)) {}

  Date now() const {
    const std::lock_guard lock(mutex_);
    return base_() + offset_;
  }
  void advance(std::chrono::duration<double> step) {
    const std::lock_guard lock(mutex_);
    offset_ += step;
  }

 private:
  const std::function<Date()> base_;
  mutable std::mutex mutex_;
  std::chrono::duration<double> offset_{0};
};

}  // namespace idlewyn::sandbox
