// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/View.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

struct Insets {
  double leading = 0;
  double trailing = 0;
  double top = 0;
  double bottom = 0;

  double width() const { return leading + trailing; }
  double height() const { return top + bottom; }
};

class PaddingBox final : public WrapperBox {
 public:
  PaddingBox(Box* content, const Insets& insets) : WrapperBox(content), insets_(insets) {}

  Size size(const Proposal& proposal) override {
    const Size inner = content_->size(inset(proposal));
    return {std::max(inner.width + insets_.width(), 0.0),
            std::max(inner.height + insets_.height(), 0.0)};
  }
  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    content_->place({origin.x + insets_.leading, origin.y + insets_.top}, inset(proposal), canvas);
  }

 private:
  Proposal inset(Proposal proposal) const {
    if (proposal.width) proposal.width = std::max(*proposal.width - insets_.width(), 0.0);
    if (proposal.height) proposal.height = std::max(*proposal.height - insets_.height(), 0.0);
    return proposal;
  }

  Insets insets_;
};

class PaddingNode final : public ModifierNode {
 public:
  PaddingNode(View view, std::uint64_t identity, Edges edges, double length)
      : ModifierNode(std::move(view), identity) {
    const double inset = sane(length, -maximumLength, maximumLength, 0);
    const auto on = [&](Edges edge) {
      return (static_cast<int>(edges) & static_cast<int>(edge)) != 0 ? inset : 0;
    };
    insets_ = {on(Edges::leading), on(Edges::trailing), on(Edges::top), on(Edges::bottom)};
  }

  Box* resolve(Resolver& resolver) const override {
    Box* box = resolver.resolve(content);
    return box ? resolver.make<PaddingBox>(box, insets_) : nullptr;
  }

 private:
  Insets insets_;
};

class FrameBox final : public Box {
 public:
  FrameBox(Box* content, const Proposal& fixed, Alignment alignment)
      : Box({content->stretch().width && !fixed.width, content->stretch().height && !fixed.height}),
        content_(content),
        fixed_(fixed),
        alignment_(alignment) {}

  Size size(const Proposal& proposal) override {
    if (fixed_.width && fixed_.height) return {*fixed_.width, *fixed_.height};
    const Size inner = content_->size(offer(proposal));
    return {fixed_.width.value_or(inner.width), fixed_.height.value_or(inner.height)};
  }
  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    const Size outer = size(proposal);
    const Size inner = content_->size(offer(proposal));
    const double across = static_cast<int>(alignment_.horizontal) / 2.0;
    const double down = static_cast<int>(alignment_.vertical) / 2.0;
    content_->place({origin.x + across * (outer.width - inner.width),
                     origin.y + down * (outer.height - inner.height)},
                    offer(proposal), canvas);
  }

 private:
  Proposal offer(const Proposal& proposal) const {
    return {fixed_.width ? fixed_.width : proposal.width,
            fixed_.height ? fixed_.height : proposal.height};
  }

  Box* content_;
  Proposal fixed_;
  Alignment alignment_;
};

class FrameNode final : public ModifierNode {
 public:
  FrameNode(View view, std::uint64_t identity, const Proposal& fixed, Alignment alignment)
      : ModifierNode(std::move(view), identity), fixed_(sane(fixed)), alignment_(alignment) {}

  Box* resolve(Resolver& resolver) const override {
    Box* box = resolver.resolve(content);
    return box ? resolver.make<FrameBox>(box, fixed_, alignment_) : nullptr;
  }

 private:
  Proposal fixed_;
  Alignment alignment_;
};

using BackgroundShape = std::variant<Capsule, Rectangle>;

class BackgroundBox final : public WrapperBox {
 public:
  BackgroundBox(Box* content, const Paint& paint, BackgroundShape shape)
      : WrapperBox(content), paint_(paint), shape_(shape) {}

  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    const Rect rect{origin, content_->size(proposal)};
    const Paint paint = stretchedOver(paint_, rect);
    if (const auto* capsule = std::get_if<Capsule>(&shape_)) {
      canvas.draw(CapsuleOperation{rect, paint, capsule->isContinuous});
    } else {
      canvas.draw(RectangleOperation{rect, paint, std::get<Rectangle>(shape_).cornerRadius});
    }
    content_->place(origin, proposal, canvas);
  }

 private:
  Paint paint_;
  BackgroundShape shape_;
};

class BackgroundNode final : public ModifierNode {
 public:
  BackgroundNode(View view, std::uint64_t identity, const ShapeStyle& style, BackgroundShape shape)
      : ModifierNode(std::move(view), identity), style_(style), shape_(shape) {}

  Box* resolve(Resolver& resolver) const override {
    Box* box = resolver.resolve(content);
    if (!box) return nullptr;
    return resolver.make<BackgroundBox>(box, resolver.paint(style_), shape_);
  }

 private:
  ShapeStyle style_;
  BackgroundShape shape_;
};

}  // namespace
}  // namespace internal

View View::padding(Edges edges, double length) const {
  return modified<internal::PaddingNode>(edges, length);
}

View View::background(const ShapeStyle& style, Capsule shape) const {
  return modified<internal::BackgroundNode>(style, internal::BackgroundShape(shape));
}

View View::background(const ShapeStyle& style, Rectangle shape) const {
  shape.cornerRadius = internal::saneLength(shape.cornerRadius);
  return modified<internal::BackgroundNode>(style, internal::BackgroundShape(shape));
}

View View::frame(std::optional<double> width, std::optional<double> height,
                 Alignment alignment) const {
  return modified<internal::FrameNode>(Proposal{width, height}, alignment);
}

}  // namespace idlewyn::platform
