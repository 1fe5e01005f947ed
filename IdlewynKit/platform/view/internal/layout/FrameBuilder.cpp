// SPDX-License-Identifier: MIT
#include <limits>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/platform/view/internal/layout/FrameBuilder.hpp>
#include <IdlewynKit/platform/view/internal/layout/Sanity.hpp>
#include <IdlewynKit/platform/view/internal/text/TextPreparation.hpp>

namespace idlewyn::platform::internal {
namespace {

constexpr auto noOperation = std::numeric_limits<std::size_t>::max();

/// Each layer costs a painter a picture; nobody nests this many on purpose.
constexpr int maximumLayers = 32;

bool hasFilter(const LayerBegin& effect) {
  const RGBA white{1, 1, 1, 1};
  return effect.grayscale != 0 || effect.contrast != 1 || effect.multiply != white;
}

/// Shapes too thin to be seen are also too thin for a painter's matrices.
bool hasArea(const DrawOperation& operation) {
  constexpr double least = 1e-3;
  const auto isSeen = [](const Rect& rect) {
    return rect.size.width >= least && rect.size.height >= least;
  };
  if (const auto* symbol = std::get_if<SymbolOperation>(&operation)) return isSeen(symbol->box);
  if (const auto* shape = std::get_if<CapsuleOperation>(&operation)) return isSeen(shape->rect);
  if (const auto* shape = std::get_if<RectangleOperation>(&operation)) return isSeen(shape->rect);
  return true;
}

void makeFainter(Paint& paint, double opacity) {
  if (auto* color = std::get_if<RGBA>(&paint)) {
    color->alpha *= opacity;
  } else if (auto* gradient = std::get_if<GradientPaint>(&paint)) {
    gradient->from.alpha *= opacity;
    gradient->to.alpha *= opacity;
  }
}

/// Nobody listens to more of a label.
constexpr std::size_t mostSpoken = 16'384;

/// Bytes that are not UTF-8 become U+FFFD: a screen reader's bus drops who sends them.
std::string spoken(std::string_view label) {
  label = leadingCharacters(label, mostSpoken);
  if (isValidUTF8(label)) return std::string(label);
  std::string result;
  forEachCharacter(label, [&](std::string_view character) {
    result += isValidUTF8(character) ? character : "\xEF\xBF\xBD";
  });
  return result;
}

}  // namespace

void FrameBuilder::draw(DrawOperation operation) {
  if (invisible_ == 0 && hasArea(operation)) operations_.push_back(std::move(operation));
}

void FrameBuilder::speak(AccessibleRole role, std::string_view label, const Rect& rect,
                         std::optional<double> value) {
  if (silent_ == 0) elements_.push_back({role, spoken(label), rect, value});
}

void FrameBuilder::begin(const Layer& layer) {
  OpenLayer open{noOperation, layer.effect.opacity <= 0, layer.isSilent};
  invisible_ += open.isInvisible;
  silent_ += open.isSilent;
  const bool changesPicture = layer.effect.opacity < 1 || hasFilter(layer.effect);
  if (invisible_ == 0 && changesPicture && effects_ < maximumLayers) {
    open.begin = operations_.size();
    operations_.push_back(layer.effect);
    ++effects_;
  }
  open_.push_back(open);
}

void FrameBuilder::end() {
  const OpenLayer open = open_.back();
  open_.pop_back();
  invisible_ -= open.isInvisible;
  silent_ -= open.isSilent;
  if (open.begin == noOperation) return;
  --effects_;
  if (open.begin + 1 == operations_.size()) {
    operations_.pop_back();
  } else if (!foldOpacity(open.begin)) {
    operations_.push_back(LayerEnd());
  }
}

bool FrameBuilder::foldOpacity(std::size_t begin) {
  const auto effect = std::get<LayerBegin>(operations_[begin]);
  if (begin + 2 != operations_.size() || hasFilter(effect)) return false;
  std::visit(
      [&](auto& drawing) {
        if constexpr (requires { drawing.paint; }) makeFainter(drawing.paint, effect.opacity);
      },
      operations_.back());
  operations_.erase(operations_.begin() + static_cast<std::ptrdiff_t>(begin));
  return true;
}

void FrameBuilder::mergeElements(std::size_t from, std::string_view label, const Rect& rect) {
  if (silent_ != 0) return;
  AccessibleElement merged{AccessibleRole::group, spoken(label), rect, std::nullopt};
  if (elements_.size() == from + 1) {
    merged.role = elements_.back().role;
    merged.value = elements_.back().value;
  }
  elements_.resize(from);
  elements_.push_back(std::move(merged));
}

void FrameBuilder::replaceElements(std::size_t from, const Rect& rect) {
  if (silent_ != 0) return;
  elements_.resize(from);
  elements_.push_back({AccessibleRole::group, std::string(), rect, std::nullopt});
}

std::vector<AccessibleElement> FrameBuilder::takeElements() {
  std::erase_if(elements_, [](const AccessibleElement& element) {
    return element.label.empty() && !element.value;
  });
  return std::move(elements_);
}

Paint resolved(const ShapeStyle& style, Appearance appearance) {
  if (const auto* color = std::get_if<Color>(&style.value())) {
    return sane(color->resolved(appearance));
  }
  const auto& gradient = std::get<LinearGradient>(style.value());
  const auto inUnitSquare = [](Point point) {
    return Point{sane(point.x, -1000, 1000, 0), sane(point.y, -1000, 1000, 0)};
  };
  return GradientPaint{sane(gradient.from.resolved(appearance)),
                       sane(gradient.to.resolved(appearance)), inUnitSquare(gradient.startPoint),
                       inUnitSquare(gradient.endPoint)};
}

Paint stretchedOver(const Paint& paint, const Rect& rect) {
  Paint result = paint;
  if (auto* gradient = std::get_if<GradientPaint>(&result)) {
    for (Point* point : {&gradient->start, &gradient->end}) {
      *point = {rect.left() + point->x * rect.size.width, rect.top() + point->y * rect.size.height};
    }
  }
  return result;
}

}  // namespace idlewyn::platform::internal
