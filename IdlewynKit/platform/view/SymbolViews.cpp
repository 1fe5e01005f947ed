// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Resolver.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>
#include <IdlewynKit/platform/view/internal/layout/TextBox.hpp>

namespace idlewyn::platform {
namespace internal {
namespace {

double fontSize(const Environment& environment) {
  const Font& font = environment.font;
  const double scale = font.followsTextScale() ? saneTextScale(environment.textScale) : 1;
  return sane(font.size() * scale, 0, 2000, 0);
}

/// Symbols are a little larger than the letters beside them.
double symbolSide(const Environment& environment) { return 1.2 * fontSize(environment); }

class SymbolBox final : public Box {
 public:
  SymbolBox(Resolver& resolver, SymbolName symbol, std::string_view name)
      : Box(Stretch()),
        symbol_(symbol),
        name_(name),
        side_(symbolSide(resolver.environment)),
        paint_(resolver.paint(resolver.environment.foreground)) {}

  Size size(const Proposal&) override { return {side_, side_}; }
  void place(Point origin, const Proposal&, FrameBuilder& canvas) override {
    const Rect rect{origin, {side_, side_}};
    canvas.draw(SymbolOperation{symbol_, rect, stretchedOver(paint_, rect)});
    if (!name_.empty()) canvas.speak(AccessibleRole::image, name_, rect);
  }

 private:
  SymbolName symbol_;
  std::string_view name_;
  double side_;
  Paint paint_;
};

class SymbolNode final : public ViewNode {
 public:
  explicit SymbolNode(std::string name) : symbol_(symbolNamed(name)), spokenName_(std::move(name)) {
    std::replace(spokenName_.begin(), spokenName_.end(), '.', ' ');
  }
  Box* resolve(Resolver& resolver) const override {
    return resolver.make<SymbolBox>(resolver, symbol_, spokenName_);
  }

 private:
  SymbolName symbol_;
  std::string spokenName_;
};

class LabelBox final : public Box {
 public:
  LabelBox(const Resolver& resolver, SymbolBox* symbol, TextBox* title)
      : Box(Stretch()),
        symbol_(symbol),
        title_(title),
        gap_(0.4 * fontSize(resolver.environment)) {}

  Size size(const Proposal& proposal) override {
    const Layout layout = arrange(proposal);
    return layout.size;
  }
  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override {
    const Layout layout = arrange(proposal);
    symbol_->place({origin.x, origin.y + layout.symbolTop}, Proposal(), canvas);
    title_->place({origin.x + indent(), origin.y + layout.titleTop}, layout.titleOffer, canvas);
  }

 private:
  struct Layout {
    Proposal titleOffer;
    double symbolTop;
    double titleTop;
    Size size;
  };

  double side() const { return symbol_->size(Proposal()).width; }
  double indent() const { return side() + gap_; }

  Layout arrange(const Proposal& proposal) const {
    Layout layout{};
    if (proposal.width) layout.titleOffer.width = std::max(*proposal.width - indent(), 0.0);
    const Size title = title_->size(layout.titleOffer);
    const double symbolTop = title_->capitalsCentre(layout.titleOffer) - side() / 2;
    layout.symbolTop = std::max(symbolTop, 0.0);
    layout.titleTop = std::max(-symbolTop, 0.0);
    layout.size = {indent() + title.width,
                   std::max(layout.titleTop + title.height, layout.symbolTop + side())};
    return layout;
  }

  SymbolBox* symbol_;
  TextBox* title_;
  double gap_;
};

class LabelNode final : public ViewNode {
 public:
  LabelNode(std::string title, SymbolName symbol) : title_(std::move(title)), symbol_(symbol) {}
  Box* resolve(Resolver& resolver) const override {
    return resolver.make<LabelBox>(resolver,
                                   resolver.make<SymbolBox>(resolver, symbol_, std::string_view()),
                                   resolver.make<TextBox>(resolver, title_));
  }

 private:
  std::string title_;
  SymbolName symbol_;
};

}  // namespace
}  // namespace internal

Symbol::Symbol(std::string systemName)
    : View(NodeReference(new internal::SymbolNode(std::move(systemName)))) {}

Label::Label(std::string title, std::string_view systemName)
    : View(NodeReference(new internal::LabelNode(std::move(title), symbolNamed(systemName)))) {}

}  // namespace idlewyn::platform
