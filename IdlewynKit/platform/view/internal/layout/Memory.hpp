// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <unordered_map>

#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/view/Animation.hpp>

namespace idlewyn::platform::internal {

/// A number that moves, or the four of a colour.
using Numbers = std::array<double, 4>;

/// What a host remembers from frame to frame, by identity. What a frame doesn't ask for is
/// forgotten.
class Memory {
 public:
  struct Presence {
    Numbers numbers;
    bool isMoving;
  };

  void beginFrame(Date now);
  void endFrame();

  /// Where numbers on the way to a target are now. With an animation they set out for a target
  /// that is new, without they are there. Where nothing `isEnabled` to move they arrive at once.
  Presence numbers(std::uint64_t identity, const Numbers& target,
                   const std::optional<Animation>& animation, bool isEnabled);
  /// Whether the value is another one than in the frame before.
  bool hasChanged(std::uint64_t identity, const EquatableValue& value);
  /// Opacity of a view that pulses when the value changes.
  Presence pulse(std::uint64_t identity, const EquatableValue& value, bool isEnabled);

 private:
  struct Use {
    std::uint64_t frame = 0;
    std::uint64_t duplicates = 0;
  };
  struct Movement {
    Numbers from;
    Numbers to;
    std::optional<Date> start;  ///< while it moves
    Animation animation;
    Use use;
  };
  struct Watch {
    EquatableValue value;
    std::optional<Date> pulseStart;
    bool pulsesAgain;  ///< when the present pulse is over
    Use use;
  };
  struct Seen {
    Watch* watch;
    bool hasChanged;
  };

  /// The slot of an identity: its own, or one more for each that has the same in this frame.
  template <class Slot>
  Slot* claim(std::unordered_map<std::uint64_t, Slot>& slots, std::uint64_t& identity);
  Seen look(std::uint64_t identity, const EquatableValue& value);
  Presence present(Movement& movement) const;

  std::unordered_map<std::uint64_t, Movement> movements_;
  std::unordered_map<std::uint64_t, Watch> watches_;
  std::uint64_t frame_ = 0;
  Date now_;
};

/// One number out of two, well stirred.
constexpr std::uint64_t mixed(std::uint64_t one, std::uint64_t other) noexcept {
  std::uint64_t x = one ^ (other + 0x9e3779b97f4a7c15 + (one << 6) + (one >> 2));
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9;
  x = (x ^ (x >> 27)) * 0x94d049bb133111eb;
  return x ^ (x >> 31);
}

}  // namespace idlewyn::platform::internal
