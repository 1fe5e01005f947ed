// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/LayerSpans.hpp>

#include <algorithm>
#include <cmath>

#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>

namespace idlewyn::platform::internal {
namespace {

constexpr std::size_t maximumDepth = 32;
/// Cairo's own coordinates end soon after.
constexpr double farthest = 4'000'000;
/// Sides that are thinner can't be seen, and no matrix scales by them.
constexpr double thinnest = 1e-6;

bool isDrawable(const Rect& rect) {
  const auto isNear = [](double value) { return std::abs(value) <= farthest; };
  return isNear(rect.origin.x) && isNear(rect.origin.y) && isNear(rect.size.width) &&
         isNear(rect.size.height) && rect.size.width >= thinnest && rect.size.height >= thinnest;
}

Rect united(const Rect& a, const Rect& b) {
  if (isEmpty(a)) return b;
  if (isEmpty(b)) return a;
  const Point from{std::min(a.left(), b.left()), std::min(a.top(), b.top())};
  return {from,
          {std::max(a.right(), b.right()) - from.x, std::max(a.bottom(), b.bottom()) - from.y}};
}

struct Bounds {
  Rect operator()(const TextOperation& operation) const {
    if (operation.text == nullptr) return {};
    // Ink may leave the box: accents, swashes.
    const TextMetrics& metrics = operation.text->metrics();
    const double margin = 2 * metrics.capHeight + 4;
    return {{operation.origin.x - margin, operation.origin.y - margin},
            {metrics.size.width + 2 * margin, metrics.size.height + 2 * margin}};
  }
  Rect operator()(const SymbolOperation& operation) const {
    if (!isDrawable(operation.box)) return {};
    // A mask is moved onto whole pixels.
    return {{operation.box.left() - 1, operation.box.top() - 1},
            {operation.box.size.width + 2, operation.box.size.height + 2}};
  }
  Rect operator()(const CapsuleOperation& operation) const { return operation.rect; }
  Rect operator()(const RectangleOperation& operation) const { return operation.rect; }
  Rect operator()(const LayerBegin&) const { return {}; }
  Rect operator()(const LayerEnd&) const { return {}; }
};

}  // namespace

bool isIdentity(const LayerBegin& layer) {
  return !(layer.opacity < 1) &&
         ColorFilter{layer.grayscale, layer.contrast, layer.multiply}.clamped().isIdentity();
}

Rect boundsOf(const DrawOperation& operation) {
  const Rect bounds = std::visit(Bounds(), operation);
  return isDrawable(bounds) ? bounds : Rect{};
}

Rect intersection(const Rect& a, const Rect& b) {
  const Point from{std::max(a.left(), b.left()), std::max(a.top(), b.top())};
  const Size size{std::min(a.right(), b.right()) - from.x,
                  std::min(a.bottom(), b.bottom()) - from.y};
  return size.width > 0 && size.height > 0 ? Rect{from, size} : Rect{};
}

LayerSpans::LayerSpans(const std::vector<DrawOperation>& operations) {
  std::vector<std::size_t> open;
  std::size_t depth = 0;
  const auto close = [&](std::size_t end) {
    const std::size_t begin = open.back();
    open.pop_back();
    LayerSpan& span = spans_[indexes_[begin]];
    span.end = end;
    depth -= isIdentity(std::get<LayerBegin>(operations[begin])) ? 0 : 1;
    if (open.empty()) return;
    Rect& outer = spans_[indexes_[open.back()]].bounds;
    outer = united(outer, span.bounds);
  };
  for (std::size_t index = 0; index < operations.size(); ++index) {
    const DrawOperation& operation = operations[index];
    if (const auto* layer = std::get_if<LayerBegin>(&operation)) {
      indexes_.resize(index + 1);
      indexes_[index] = spans_.size();
      spans_.emplace_back();
      open.push_back(index);
      depth += isIdentity(*layer) ? 0 : 1;
      if (depth > maximumDepth)
        throw PaintError(PaintError::Code::tooLarge, "layers are nested too deep");
    } else if (std::holds_alternative<LayerEnd>(operation)) {
      if (!open.empty()) close(index);
    } else if (!open.empty()) {
      Rect& bounds = spans_[indexes_[open.back()]].bounds;
      bounds = united(bounds, boundsOf(operation));
    }
  }
  while (!open.empty())
    close(operations.size());
}

}  // namespace idlewyn::platform::internal
