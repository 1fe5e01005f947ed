// SPDX-License-Identifier: MIT
#include <cmath>
#include <numbers>

#include <IdlewynKit/platform/view/internal/layout/Memory.hpp>

namespace idlewyn::platform::internal {
namespace {

constexpr double pulseDuration = 1;
constexpr double pulseDepth = 0.65;

/// Seconds since a start, absent when the time is over. So it is where the clock went back: a
/// movement must not wait for the hour to come again.
std::optional<double> elapsed(Date start, Date now, double duration) {
  const double seconds = (now - start).count();
  if (seconds >= 0 && seconds < duration) return seconds;
  return std::nullopt;
}

double pulseOpacity(double seconds) {
  const double wave = std::sin(std::numbers::pi * seconds / pulseDuration);
  return 1 - pulseDepth * wave * wave;
}

}  // namespace

void Memory::beginFrame(Date now) {
  ++frame_;
  now_ = now;
}

void Memory::endFrame() {
  const auto isForgotten = [this](const auto& slot) { return slot.second.use.frame != frame_; };
  std::erase_if(movements_, isForgotten);
  std::erase_if(watches_, isForgotten);
}

template <class Slot>
Slot* Memory::claim(std::unordered_map<std::uint64_t, Slot>& slots, std::uint64_t& identity) {
  auto found = slots.find(identity);
  if (found != slots.end() && found->second.use.frame == frame_) {
    identity = mixed(identity, ++found->second.use.duplicates);
    found = slots.find(identity);
  }
  if (found == slots.end()) return nullptr;
  found->second.use = {frame_, 0};
  return &found->second;
}

Memory::Presence Memory::numbers(std::uint64_t identity, const Numbers& target,
                                 const std::optional<Animation>& animation, bool isEnabled) {
  Movement* movement = claim(movements_, identity);
  if (!movement) {
    movements_.insert_or_assign(
        identity, Movement{target, target, std::nullopt, Animation::easeInOut(0), {frame_, 0}});
    return {target, false};
  }
  if (movement->to != target) {
    const Numbers here = present(*movement).numbers;
    movement->from = here;
    movement->to = target;
    movement->start = std::nullopt;
    if (animation && here != target) {
      movement->start = now_;
      movement->animation = *animation;
    }
  }
  if (!isEnabled) movement->start = std::nullopt;
  return present(*movement);
}

Memory::Presence Memory::present(Movement& movement) const {
  const double duration = movement.animation.duration();
  const auto seconds = movement.start ? elapsed(*movement.start, now_, duration) : std::nullopt;
  if (!seconds) {
    movement.start = std::nullopt;
    return {movement.to, false};
  }
  const double done = movement.animation.progress(*seconds / duration);
  Numbers numbers;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    numbers[i] = std::lerp(movement.from[i], movement.to[i], done);
  }
  return {numbers, true};
}

Memory::Seen Memory::look(std::uint64_t identity, const EquatableValue& value) {
  Watch* watch = claim(watches_, identity);
  if (!watch) {
    const auto added =
        watches_.insert_or_assign(identity, Watch{value, std::nullopt, false, {frame_, 0}}).first;
    return {&added->second, false};
  }
  if (watch->value == value) return {watch, false};
  // A value of another type belongs to another view, which is seen for the first time. One that
  // does not even equal itself would change for ever.
  const EquatableValue& itself = value;
  const bool hasChanged = watch->value.hasTypeOf(value) && value == itself;
  watch->value = value;
  return {watch, hasChanged};
}

bool Memory::hasChanged(std::uint64_t identity, const EquatableValue& value) {
  return look(identity, value).hasChanged;
}

Memory::Presence Memory::pulse(std::uint64_t identity, const EquatableValue& value,
                               bool isEnabled) {
  const auto [watch, hasChanged] = look(identity, value);
  auto seconds =
      watch->pulseStart ? elapsed(*watch->pulseStart, now_, pulseDuration) : std::nullopt;
  // Nothing jumps: one that is on its way down is followed by another, one that is on its way
  // up turns round where it is.
  if (hasChanged && seconds && *seconds <= pulseDuration / 2) {
    watch->pulsesAgain = true;
  } else if (hasChanged || (!seconds && watch->pulsesAgain)) {
    seconds = seconds ? pulseDuration - *seconds : 0;
    watch->pulseStart = now_ - DateClock::duration(*seconds);
    watch->pulsesAgain = false;
  }
  if (!seconds || !isEnabled) {
    watch->pulseStart = std::nullopt;
    watch->pulsesAgain = false;
    return {{1, 0, 0, 0}, false};
  }
  return {{pulseOpacity(*seconds), 0, 0, 0}, true};
}

}  // namespace idlewyn::platform::internal
