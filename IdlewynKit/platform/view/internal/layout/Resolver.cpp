// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>

namespace idlewyn::platform::internal {
namespace {

/// A few hundred bytes of stack a level, on threads with small stacks too.
constexpr int maximumDepth = 512;
/// A view that holds another one twice, which holds one twice, and so on, soon has more than can
/// ever be made.
constexpr std::int64_t maximumViews = 500'000;

}  // namespace

Resolver::Resolver(const Environment& outer, Memory* memory, Date now)
    : environment(outer), memory_(memory), now_(now) {}

Box* Resolver::resolve(const View& view, std::uint64_t place) {
  const ViewNode* node = view.node_.get();
  if (!node || depth_ == maximumDepth || viewCount_ == maximumViews) return nullptr;
  ++viewCount_;
  const std::uint64_t outer = std::exchange(identity_, mixed(identity_, place));
  ++depth_;
  Box* box = node->resolve(*this);
  --depth_;
  identity_ = outer;
  return box;
}

Box* Resolver::resolveBody(View body, std::uint64_t place) {
  bodies_.push_back(std::move(body));
  // Copied, for the vector may grow on the way down.
  const View view = bodies_.back();
  return resolve(view, place);
}

std::string_view Resolver::keep(std::string_view text) {
  const auto copy = arena_.array<char>(text.size());
  std::copy(text.begin(), text.end(), copy.begin());
  return {copy.data(), copy.size()};
}

Numbers Resolver::moved(Slot slot, const Numbers& target) {
  if (!memory_) return target;
  const auto presence =
      memory_->numbers(identity(slot), target, animation, environment.animationsEnabled);
  isAnimating_ |= presence.isMoving;
  return presence.numbers;
}

Paint Resolver::paint(const ShapeStyle& style) {
  const Paint target = resolved(style, environment.appearance);
  if (!memory_ || !isAnimatable) return target;
  if (const auto* color = std::get_if<RGBA>(&target)) return moved(Slot::color, *color);
  const auto& [from, to, start, end] = std::get<GradientPaint>(target);
  const Numbers points = moved(Slot::gradientPoints, Numbers{start.x, start.y, end.x, end.y});
  return GradientPaint{moved(Slot::gradientFrom, from),
                       moved(Slot::gradientTo, to),
                       {points[0], points[1]},
                       {points[2], points[3]}};
}

bool Resolver::hasChanged(const EquatableValue& value) {
  return memory_ && memory_->hasChanged(identity(Slot::animation), value);
}

double Resolver::pulseOpacity(const EquatableValue& value) {
  if (!memory_) return 1;
  const auto presence = memory_->pulse(identity(Slot::pulse), value, environment.animationsEnabled);
  isAnimating_ |= presence.isMoving;
  return presence.numbers[0];
}

void Resolver::noteChange(std::optional<Date> date) {
  if (date && (!nextChange_ || *date < *nextChange_)) nextChange_ = date;
}

}  // namespace idlewyn::platform::internal
