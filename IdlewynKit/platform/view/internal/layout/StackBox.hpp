// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include <IdlewynKit/platform/view/internal/layout/Box.hpp>

namespace idlewyn::platform::internal {

class Resolver;

/// Children one behind the other along an axis.
class StackBox final : public Box {
 public:
  /// `alignment` is the part of the space across that lies before a child that leaves some.
  StackBox(Resolver& resolver, Axis axis, double alignment, double spacing,
           std::span<Box* const> children);

  Size size(const Proposal& proposal) override;
  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override;

 private:
  struct Child {
    Box* box;
    bool stretches;
    double ideal;  ///< lengths along the axis
    double least;
    std::optional<double> offer;
    Size size;
  };
  struct Known {
    Proposal proposal;
    Size size;
  };

  bool isRow() const { return axis_ == Axis::horizontal; }
  double along(Size size) const { return isRow() ? size.width : size.height; }
  double across(Size size) const { return isRow() ? size.height : size.width; }
  Proposal offer(std::optional<double> along) const;

  const Known* known(const Proposal& proposal) const;
  Size arrange(const Proposal& proposal);
  void giveIdeals();
  /// The one pass: what stretches shares what the ideal lengths leave. False where they don't fit.
  bool fit(double available);
  /// Least flexible first, each gets an even part of what is left, and no more than its ideal.
  void squeeze(double available);
  void measure(Child& child, std::optional<double> offer);

  std::int64_t& budget_;
  Axis axis_;
  double alignment_;
  double spacing_;
  std::span<Child> children_;
  std::span<std::uint32_t> order_;
  /// Stacks in stacks are asked for few sizes, but again and again.
  std::array<Known, 4> known_;
  std::size_t knownCount_ = 0;
  /// What the children are arranged for at the moment.
  std::optional<Proposal> arranged_;
  std::optional<double> offeredAcross_;
};

}  // namespace idlewyn::platform::internal
