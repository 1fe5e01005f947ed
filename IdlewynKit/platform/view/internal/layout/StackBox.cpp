// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/StackBox.hpp>

namespace idlewyn::platform::internal {
namespace {

/// Sums of lengths are not exact.
constexpr double tolerance = 1e-6;

/// Arrangements a child that a frame may try. Ordinary trees need less than ten; in rows and
/// columns nested crosswise each level asks the next for more different sizes.
constexpr std::int64_t triesPerChild = 64;

Stretch stretchOf(std::span<Box* const> children) {
  Stretch any;
  for (const Box* child : children) {
    any.width |= child->stretch().width;
    any.height |= child->stretch().height;
  }
  return any;
}

}  // namespace

StackBox::StackBox(Resolver& resolver, Axis axis, double alignment, double spacing,
                   std::span<Box* const> children)
    : Box(stretchOf(children)),
      budget_(resolver.measuringBudget()),
      axis_(axis),
      alignment_(alignment),
      spacing_(spacing),
      children_(resolver.array<Child>(children.size())),
      order_(resolver.array<std::uint32_t>(children.size())) {
  budget_ += triesPerChild * static_cast<std::int64_t>(children.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    const Stretch stretch = children[i]->stretch();
    children_[i].box = children[i];
    children_[i].stretches = isRow() ? stretch.width : stretch.height;
  }
}

const StackBox::Known* StackBox::known(const Proposal& proposal) const {
  const std::size_t count = std::min(knownCount_, known_.size());
  for (std::size_t i = 0; i < count; ++i) {
    if (known_[i].proposal == proposal) return &known_[i];
  }
  // Beyond the budget an answer to another question has to do.
  return budget_ <= 0 && count > 0 ? &known_[(knownCount_ - 1) % known_.size()] : nullptr;
}

Size StackBox::size(const Proposal& proposal) {
  if (const Known* found = known(proposal)) return found->size;
  const Size size = arrange(proposal);
  known_[knownCount_++ % known_.size()] = {proposal, size};
  return size;
}

Proposal StackBox::offer(std::optional<double> along) const {
  return isRow() ? Proposal{along, offeredAcross_} : Proposal{offeredAcross_, along};
}

void StackBox::measure(Child& child, std::optional<double> offered) {
  child.offer = offered;
  child.size = child.box->size(offer(offered));
}

Size StackBox::arrange(const Proposal& proposal) {
  budget_ -= static_cast<std::int64_t>(children_.size());
  arranged_ = proposal;
  offeredAcross_ = isRow() ? proposal.height : proposal.width;
  const auto offered = isRow() ? proposal.width : proposal.height;
  const double spacing = spacing_ * static_cast<double>(children_.size() - 1);
  giveIdeals();
  if (offered && !fit(*offered - spacing)) squeeze(*offered - spacing);

  double length = spacing;
  double breadth = 0;
  for (const Child& child : children_) {
    length += along(child.size);
    breadth = std::max(breadth, across(child.size));
  }
  length = std::max(length, 0.0);
  return isRow() ? Size{length, breadth} : Size{breadth, length};
}

void StackBox::giveIdeals() {
  for (Child& child : children_) {
    measure(child, std::nullopt);
    child.ideal = along(child.size);
  }
}

bool StackBox::fit(double available) {
  std::size_t stretching = 0;
  double left = available;
  for (std::uint32_t i = 0; i < children_.size(); ++i) {
    if (children_[i].stretches) order_[stretching++] = i;
    left -= children_[i].ideal;
  }
  if (left < -tolerance) return false;
  const auto order = order_.first(stretching);
  for (const std::uint32_t i : order) {
    left += children_[i].ideal;
  }
  // Who needs most comes first: the others share what it leaves.
  std::sort(order.begin(), order.end(), [this](std::uint32_t one, std::uint32_t other) {
    return std::pair(-children_[one].ideal, one) < std::pair(-children_[other].ideal, other);
  });
  auto waiting = static_cast<double>(stretching);
  for (const std::uint32_t i : order) {
    Child& child = children_[i];
    measure(child, std::max(left / waiting--, child.ideal));
    left -= along(child.size);
  }
  return true;
}

void StackBox::squeeze(double available) {
  for (std::uint32_t i = 0; i < children_.size(); ++i) {
    Child& child = children_[i];
    child.least = along(child.box->size(offer(0)));
    order_[i] = i;
  }
  std::sort(order_.begin(), order_.end(), [this](std::uint32_t one, std::uint32_t other) {
    const auto flexibility = [this](std::uint32_t i) {
      return std::pair(children_[i].ideal - children_[i].least, i);
    };
    return flexibility(one) < flexibility(other);
  });
  auto waiting = static_cast<double>(order_.size());
  for (const std::uint32_t i : order_) {
    Child& child = children_[i];
    measure(child, std::min(std::max(available, 0.0) / waiting--, child.ideal));
    available -= along(child.size);
  }
  // Texts break where words end: what they leave goes to what takes more than its ideal.
  auto stretching = static_cast<double>(std::count_if(
      children_.begin(), children_.end(), [](const Child& child) { return child.stretches; }));
  for (Child& child : children_) {
    if (!child.stretches || available <= tolerance) continue;
    const double before = along(child.size);
    measure(child, before + available / stretching--);
    available -= along(child.size) - before;
  }
}

void StackBox::place(Point origin, const Proposal& proposal, FrameBuilder& canvas) {
  const Size whole = size(proposal);
  if (arranged_ != proposal) arrange(proposal);
  double position = 0;
  for (const Child& child : children_) {
    const double aside = alignment_ * (across(whole) - across(child.size));
    const Point corner = isRow() ? Point{origin.x + position, origin.y + aside}
                                 : Point{origin.x + aside, origin.y + position};
    child.box->place(corner, offer(child.offer), canvas);
    position += along(child.size) + spacing_;
  }
}

}  // namespace idlewyn::platform::internal
