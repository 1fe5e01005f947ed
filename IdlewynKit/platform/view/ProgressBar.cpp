// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

constexpr double barHeight = 4;
constexpr double idealWidth = 100;
constexpr RGBA track{0.5, 0.5, 0.5, 0.3};

struct Progress {
  double shown;   ///< on its way
  double spoken;  ///< where it goes
};

class ProgressBox final : public Box {
 public:
  ProgressBox(Resolver& resolver, Progress progress)
      : Box({.width = true}),
        progress_(progress),
        tint_(resolver.paint(resolver.environment.tint)) {}

  Size size(const Proposal& proposal) override {
    return {std::max(proposal.width.value_or(idealWidth), barHeight), barHeight};
  }

  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    const Rect whole{origin, size(proposal)};
    canvas.draw(CapsuleOperation{whole, track, false});
    if (progress_.shown > 0) {
      // Never narrower than round.
      const double width = std::max(progress_.shown * whole.size.width, barHeight);
      const Rect done{origin, {width, barHeight}};
      canvas.draw(CapsuleOperation{done, stretchedOver(tint_, whole), false});
    }
    canvas.speak(AccessibleRole::progressBar, std::string_view(), whole, progress_.spoken);
  }

 private:
  Progress progress_;
  Paint tint_;
};

class ProgressNode final : public ViewNode {
 public:
  explicit ProgressNode(double fraction) : fraction_(fraction) {}
  Box* resolve(Resolver& resolver) const override {
    return resolver.make<ProgressBox>(
        resolver, Progress{resolver.moved(Slot::progress, fraction_), fraction_});
  }

 private:
  double fraction_;
};

}  // namespace
}  // namespace internal

ProgressBar::ProgressBar(double value, double total)
    : View(NodeReference(new internal::ProgressNode(internal::fractionOf(value, total)))) {}

}  // namespace idlewyn::platform
