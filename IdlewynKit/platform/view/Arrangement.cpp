// SPDX-License-Identifier: MIT
// Rows, columns and the spacers in them.
#include <algorithm>
#include <limits>
#include <memory>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>
#include <IdlewynKit/platform/view/internal/layout/StackBox.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

class StackNode final : public ViewNode {
 public:
  StackNode(Axis axis, double alignment, double spacing, std::vector<View> children)
      : axis_(axis),
        alignment_(alignment),
        spacing_(sane(spacing, -maximumLength, maximumLength, 0)),
        children_(std::move(children)) {}

  Box* resolve(Resolver& resolver) const override {
    const Axis outer = std::exchange(resolver.axis, axis_);
    const auto boxes = resolver.array<Box*>(children_.size());
    std::size_t count = 0;
    std::uint64_t unnamed = 0;
    for (const View& child : children_) {
      // Unnamed children are counted apart: named ones may come and go among them.
      const std::uint64_t place = child.identity() ? child.identity() : 2 * unnamed++;
      if (Box* box = resolver.resolve(child, place)) boxes[count++] = box;
    }
    resolver.axis = outer;
    if (count == 0) return nullptr;
    return resolver.make<StackBox>(resolver, axis_, alignment_, spacing_, boxes.first(count));
  }

 private:
  Axis axis_;
  double alignment_;
  double spacing_;
  std::vector<View> children_;
};

class SpacerBox final : public Box {
 public:
  SpacerBox(Axis axis, double least)
      : Box({axis != Axis::vertical, axis != Axis::horizontal}), least_(least) {}

  Size size(const Proposal& proposal) override {
    return {stretch().width ? std::max(proposal.width.value_or(0), least_) : 0,
            stretch().height ? std::max(proposal.height.value_or(0), least_) : 0};
  }
  void place(Point, const Proposal&, FrameBuilder&) override {}

 private:
  double least_;
};

class SpacerNode final : public ViewNode {
 public:
  explicit SpacerNode(double least) : least_(saneLength(least)) {}
  Box* resolve(Resolver& resolver) const override {
    return resolver.make<SpacerBox>(resolver.axis, least_);
  }

 private:
  double least_;
};

/// The part of the free space that lies before a child.
double partBefore(VerticalAlignment alignment) { return static_cast<int>(alignment) / 2.0; }
double partBefore(HorizontalAlignment alignment) { return static_cast<int>(alignment) / 2.0; }

NodeReference stack(Axis axis, double alignment, double spacing, std::vector<View> children) {
  return NodeReference(new StackNode(axis, alignment, spacing, std::move(children)));
}

}  // namespace
}  // namespace internal

Row::Row(std::vector<View> children, VerticalAlignment alignment, double spacing)
    : View(internal::stack(internal::Axis::horizontal, internal::partBefore(alignment), spacing,
                           std::move(children))) {}

Column::Column(std::vector<View> children, HorizontalAlignment alignment, double spacing)
    : View(internal::stack(internal::Axis::vertical, internal::partBefore(alignment), spacing,
                           std::move(children))) {}

Spacer::Spacer(double minLength) : View(NodeReference(new internal::SpacerNode(minLength))) {}

}  // namespace idlewyn::platform
