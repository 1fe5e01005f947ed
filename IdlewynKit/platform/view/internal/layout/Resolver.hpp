// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/platform/view/Environment.hpp>
#include <IdlewynKit/platform/view/Frame.hpp>
#include <IdlewynKit/platform/view/View.hpp>
#include <IdlewynKit/platform/view/internal/layout/Box.hpp>
#include <IdlewynKit/platform/view/internal/layout/Memory.hpp>

namespace idlewyn::platform::internal {

/// What tells the numbers and values of one place apart.
enum class Slot : std::uint8_t {
  opacity,
  grayscale,
  contrast,
  multiply,
  progress,
  color,
  gradientFrom,
  gradientTo,
  gradientPoints,
  animation,
  pulse,
};

/// Walks a description once and makes the boxes of a frame. Nodes read and change what surrounds
/// them in its public members, and put it back.
class Resolver {
 public:
  /// `memory` may be null: nothing moves then.
  Resolver(const Environment& environment, Memory* memory, Date now);

  /// The box of a view below the present node, null for nothing. Siblings have different places.
  Box* resolve(const View& view, std::uint64_t place = 0);
  /// Of what a component's body returned, which must live as long as its boxes.
  Box* resolveBody(View body, std::uint64_t place);

  template <class B, class... Arguments>
  B* make(Arguments&&... arguments) {
    return arena_.make<B>(std::forward<Arguments>(arguments)...);
  }
  template <class T>
  std::span<T> array(std::size_t count) {
    return arena_.array<T>(count);
  }

  /// The same characters, for as long as the boxes.
  std::string_view keep(std::string_view text);

  /// Where the numbers of the present node are on their way to a target.
  Numbers moved(Slot slot, const Numbers& target);
  double moved(Slot slot, double target) { return moved(slot, Numbers{target})[0]; }
  /// A style's paint on its way: a colour to another one, a gradient to another one.
  Paint paint(const ShapeStyle& style);
  bool hasChanged(const EquatableValue& value);
  double pulseOpacity(const EquatableValue& value);

  /// The picture changes by itself then, which is later than now.
  void noteChange(std::optional<Date> date);

  Date now() const noexcept { return now_; }
  std::optional<Date> nextChange() const noexcept { return nextChange_; }
  bool isAnimating() const noexcept { return isAnimating_; }
  /// Left for measuring rows and columns anew in other widths, together.
  std::int64_t& measuringBudget() noexcept { return measuringBudget_; }

  Environment environment;
  /// Of numbers that change below.
  std::optional<Animation> animation;
  /// Somewhere inside of an animation: elsewhere no colour needs to be remembered.
  bool isAnimatable = false;
  /// Of the row or column around.
  Axis axis = Axis::none;

 private:
  RGBA moved(Slot slot, const RGBA& target) {
    const Numbers now = moved(slot, Numbers{target.red, target.green, target.blue, target.alpha});
    return {now[0], now[1], now[2], now[3]};
  }
  std::uint64_t identity(Slot slot) const {
    return mixed(identity_, static_cast<std::uint64_t>(slot));
  }

  std::vector<View> bodies_;
  BoxArena arena_;
  Memory* memory_;
  Date now_;
  std::uint64_t identity_ = 0;
  int depth_ = 0;
  std::int64_t viewCount_ = 0;
  std::optional<Date> nextChange_;
  bool isAnimating_ = false;
  std::int64_t measuringBudget_ = 0;
};

/// A node around one view, which shares that view's name.
class ModifierNode : public ViewNode {
 protected:
  ModifierNode(View content, std::uint64_t identity)
      : ViewNode(identity), content(std::move(content)) {}

  const View content;
};

}  // namespace idlewyn::platform::internal
