// SPDX-License-Identifier: MIT
// Opacity, filters and the pulse: what is laid over a part of the picture.
#include <IdlewynKit/platform/view/View.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

class LayerBox final : public WrapperBox {
 public:
  LayerBox(Box* content, Slot innermost, Layer layer)
      : WrapperBox(content), layer_(layer), last_(innermost) {}

  /// Takes another effect in where a layer applies it after those that it has.
  bool add(Slot next, const Layer& outer) {
    if (rank(next) <= rank(last_)) return false;
    last_ = next;
    layer_.isSilent |= outer.isSilent;
    switch (next) {
      case Slot::grayscale: layer_.effect.grayscale = outer.effect.grayscale; break;
      case Slot::contrast: layer_.effect.contrast = outer.effect.contrast; break;
      case Slot::multiply: layer_.effect.multiply = outer.effect.multiply; break;
      default: layer_.effect.opacity = outer.effect.opacity; break;
    }
    return true;
  }

  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    canvas.begin(layer_);
    content_->place(origin, proposal, canvas);
    canvas.end();
  }

 private:
  /// The order in which one layer applies its effects.
  static int rank(Slot slot) {
    switch (slot) {
      case Slot::grayscale: return 0;
      case Slot::contrast: return 1;
      case Slot::multiply: return 2;
      default: return 3;
    }
  }

  Layer layer_;
  Slot last_;
};

class LayerNode : public ModifierNode {
 public:
  LayerNode(View view, std::uint64_t identity, Slot slot)
      : ModifierNode(std::move(view), identity), slot_(slot) {}

  Box* resolve(Resolver& resolver) const final {
    const Layer layer = present(resolver);
    Box* box = resolver.resolve(content);
    auto* inner = dynamic_cast<LayerBox*>(box);
    if (!box || (inner && inner->add(slot_, layer))) return box;
    return resolver.make<LayerBox>(box, slot_, layer);
  }

 protected:
  virtual Layer present(Resolver& resolver) const = 0;

  const Slot slot_;
};

class AmountNode final : public LayerNode {
 public:
  AmountNode(View view, std::uint64_t identity, Slot slot, double amount)
      : LayerNode(std::move(view), identity, slot), amount_(amount) {}

 private:
  Layer present(Resolver& resolver) const override {
    Layer layer;
    double& number = slot_ == Slot::grayscale  ? layer.effect.grayscale
                     : slot_ == Slot::contrast ? layer.effect.contrast
                                               : layer.effect.opacity;
    number = resolver.moved(slot_, amount_);
    layer.isSilent = slot_ == Slot::opacity && amount_ == 0;
    return layer;
  }

  double amount_;
};

class MultiplyNode final : public LayerNode {
 public:
  MultiplyNode(View view, std::uint64_t identity, const Color& color)
      : LayerNode(std::move(view), identity, Slot::multiply), color_(color) {}

 private:
  Layer present(Resolver& resolver) const override {
    const RGBA to = sane(color_.resolved(resolver.environment.appearance));
    const auto now = resolver.moved(slot_, Numbers{to.red, to.green, to.blue, to.alpha});
    Layer layer;
    layer.effect.multiply = {now[0], now[1], now[2], now[3]};
    return layer;
  }

  Color color_;
};

class PulseNode final : public LayerNode {
 public:
  PulseNode(View view, std::uint64_t identity, EquatableValue value)
      : LayerNode(std::move(view), identity, Slot::pulse), value_(std::move(value)) {}

 private:
  Layer present(Resolver& resolver) const override {
    Layer layer;
    layer.effect.opacity = resolver.pulseOpacity(value_);
    return layer;
  }

  EquatableValue value_;
};

}  // namespace
}  // namespace internal

View View::opacity(double amount) const {
  return modified<internal::AmountNode>(internal::Slot::opacity, internal::sane(amount, 0, 1, 1));
}
View View::grayscale(double amount) const {
  return modified<internal::AmountNode>(internal::Slot::grayscale, internal::sane(amount, 0, 1, 0));
}
View View::contrast(double factor) const {
  return modified<internal::AmountNode>(internal::Slot::contrast,
                                        internal::sane(factor, 0, 100, 1));
}
View View::colorMultiply(const Color& color) const {
  return modified<internal::MultiplyNode>(color);
}

View View::pulseOn(EquatableValue value) const {
  return modified<internal::PulseNode>(std::move(value));
}

}  // namespace idlewyn::platform
