// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/View.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

/// One element instead of those of its parts. Without a label it waits for one from outside.
class ElementBox final : public WrapperBox {
 public:
  ElementBox(Box* content, std::optional<std::string_view> label)
      : WrapperBox(content), label_(label) {}

  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    const std::size_t first = canvas.elementCount();
    content_->place(origin, proposal, canvas);
    const Rect rect{origin, content_->size(proposal)};
    if (label_) {
      canvas.mergeElements(first, *label_, rect);
    } else {
      canvas.replaceElements(first, rect);
    }
  }

 private:
  std::optional<std::string_view> label_;
};

class ElementNode final : public ModifierNode {
 public:
  ElementNode(View view, std::uint64_t identity, std::optional<std::string> label)
      : ModifierNode(std::move(view), identity), label_(std::move(label)) {}

  Box* resolve(Resolver& resolver) const override {
    Box* box = resolver.resolve(content);
    return box ? resolver.make<ElementBox>(box, label_) : nullptr;
  }

 private:
  std::optional<std::string> label_;
};

}  // namespace
}  // namespace internal

View View::accessibilityLabel(std::string label) const {
  return modified<internal::ElementNode>(std::optional(std::move(label)));
}

View View::accessibilityElement() const {
  return modified<internal::ElementNode>(std::optional<std::string>());
}

}  // namespace idlewyn::platform
