// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/FrameDrawer.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/internal/paint/CairoPointer.hpp>
#include <IdlewynKit/platform/view/internal/paint/GlyphMasks.hpp>
#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>
#include <IdlewynKit/platform/view/internal/paint/ShapePaths.hpp>
#include <IdlewynKit/platform/view/internal/paint/SymbolDrawing.hpp>

namespace idlewyn::platform::internal {
namespace {

/// A layer is filtered in bands of that many pixels: the filter looks at one pixel at a time, so
/// nothing shows where they meet, as long as bands lie on the target's own pixels.
constexpr double pixelsOfBand = 4'000'000;
constexpr double pixelsOfLooseBand = 64'000'000;

constexpr double unit(double component) {
  return component > 0 ? std::min(component, 1.0) : 0;  // what is no number is 0
}

ColorFilter filterOf(const LayerBegin& layer) {
  return ColorFilter{layer.grayscale, layer.contrast, layer.multiply}.clamped();
}

Rect wholePixels(const Rect& rect, double scale, double x, double y) {
  const Point from{std::floor(rect.left() * scale + x), std::floor(rect.top() * scale + y)};
  return {from,
          {std::ceil(rect.right() * scale + x) - from.x,
           std::ceil(rect.bottom() * scale + y) - from.y}};
}

}  // namespace

FrameDrawer::FrameDrawer(const std::vector<DrawOperation>& operations, const LayerSpans& layers,
                         cairo_t* target, double scale)
    : operations_(operations), layers_(layers), target_(target) {
  findGrid(scale);
}

void FrameDrawer::findGrid(double scale) {
  cairo_surface_t* surface = cairo_get_target(target_);
  const cairo_surface_type_t type = cairo_surface_get_type(surface);
  takesMasks_ = type == CAIRO_SURFACE_TYPE_IMAGE || type == CAIRO_SURFACE_TYPE_RECORDING;
  grid_ = {scale, 0, 0};
  if (!takesMasks_) return;
  cairo_matrix_t matrix;
  cairo_get_matrix(target_, &matrix);
  takesTextMasks_ = matrix.xx > 0 && matrix.xx == matrix.yy && matrix.xy == 0 && matrix.yx == 0;
  if (type != CAIRO_SURFACE_TYPE_IMAGE) return;
  double deviceX = 1;
  double deviceY = 1;
  cairo_surface_get_device_scale(surface, &deviceX, &deviceY);
  isOnGrid_ = takesTextMasks_ && deviceX == deviceY;
  takesTextMasks_ = isOnGrid_;
  if (isOnGrid_) grid_ = {matrix.xx * deviceX, matrix.x0 * deviceX, matrix.y0 * deviceX};
}

void FrameDrawer::drawRange(std::size_t begin, std::size_t end, const Rect& visible) {
  const Rect outer = std::exchange(visible_, visible);
  for (std::size_t index = begin; index < end; ++index) {
    const DrawOperation& operation = operations_[index];
    const auto* layer = std::get_if<LayerBegin>(&operation);
    if (layer == nullptr) {
      if (isEmpty(intersection(boundsOf(operation), visible))) continue;
      std::visit([this](const auto& known) { drawOperation(known); }, operation);
      continue;
    }
    if (isIdentity(*layer)) continue;
    const LayerSpan& span = layers_.at(index);
    const Rect rect = intersection(span.bounds, visible);
    const bool isVisible = layer->opacity > 0 || std::isnan(layer->opacity);
    if (isVisible && !isEmpty(rect)) {
      if (filterOf(*layer).isIdentity()) {
        drawTranslucent(*layer, index + 1, span.end, rect);
      } else {
        drawFiltered(*layer, index + 1, span.end, rect);
      }
    }
    index = span.end;
  }
  visible_ = outer;
}

void FrameDrawer::drawOperation(const TextOperation& operation) {
  setSource(operation.paint);
  cairo_matrix_t before;
  cairo_get_matrix(target_, &before);
  for (const GlyphRun& run : operation.text->runs()) {
    if (takesTextMasks_ && showMasks(run, operation.origin)) continue;
    cairo_translate(target_, operation.origin.x, operation.origin.y);
    cairo_set_scaled_font(target_, run.font.get());
    cairo_show_glyphs(target_, run.glyphs.data(), static_cast<int>(run.glyphs.size()));
    cairo_set_matrix(target_, &before);
  }
  cairo_translate(target_, operation.origin.x, operation.origin.y);
  for (const Rect& box : operation.text->missing()) {
    cairo_rectangle(target_, box.left(), box.top(), box.size.width, box.size.height);
    cairo_set_line_width(target_, std::max(0.5, box.size.width / 12));
    cairo_stroke(target_);
  }
  cairo_set_matrix(target_, &before);
}

/// False where Cairo has to draw them.
bool FrameDrawer::showMasks(const GlyphRun& run, Point origin) {
  const PixelGrid& grid = grid_;
  const Rect visible{{visible_.left() * grid.scale + grid.x, visible_.top() * grid.scale + grid.y},
                     {visible_.size.width * grid.scale, visible_.size.height * grid.scale}};
  PlacedMask mask;
  if (!maskOf(run, grid.scale, {origin.x * grid.scale + grid.x, origin.y * grid.scale + grid.y},
              visible, mask))
    return false;
  if (mask.surface != nullptr) showMask(mask.surface.get(), mask.left, mask.top);
  return true;
}

void FrameDrawer::drawOperation(const SymbolOperation& operation) {
  setSource(operation.paint);
  const Rect& box = operation.box;
  const double pixels = std::round(std::min(box.size.width, box.size.height) * grid_.scale);
  if (takesMasks_ && pixels >= 1 && pixels <= maximumMaskSize) {
    cairo_surface_t* mask = symbolMask(operation.symbol, static_cast<int>(pixels));
    if (mask != nullptr)
      return showMask(mask, std::round(box.left() * grid_.scale + grid_.x),
                      std::round(box.top() * grid_.scale + grid_.y));
  }
  drawSymbol(target_, operation.symbol, box);
}

/// On whole pixels, where it is sharp and fast.
void FrameDrawer::showMask(cairo_surface_t* mask, double left, double top) {
  const PixelGrid& grid = grid_;
  cairo_matrix_t before;
  cairo_get_matrix(target_, &before);
  cairo_translate(target_, (left - grid.x) / grid.scale, (top - grid.y) / grid.scale);
  cairo_scale(target_, 1 / grid.scale, 1 / grid.scale);
  cairo_mask_surface(target_, mask, 0, 0);
  cairo_set_matrix(target_, &before);
}

void FrameDrawer::drawOperation(const CapsuleOperation& operation) {
  setSource(operation.paint);
  cairo_new_path(target_);
  addCapsule(target_, operation.rect, operation.isContinuous);
  cairo_fill(target_);
}

void FrameDrawer::drawOperation(const RectangleOperation& operation) {
  const Rect& rect = operation.rect;
  setSource(operation.paint);
  cairo_new_path(target_);
  addRectangle(target_, rect, operation.cornerRadius);
  cairo_fill(target_);
}

void FrameDrawer::drawTranslucent(const LayerBegin& layer, std::size_t begin, std::size_t end,
                                  const Rect& rect) {
  const Rect pixels = wholePixels(rect, grid_.scale, grid_.x, grid_.y);
  cairo_save(target_);
  cairo_rectangle(target_, (pixels.left() - grid_.x) / grid_.scale,
                  (pixels.top() - grid_.y) / grid_.scale, pixels.size.width / grid_.scale,
                  pixels.size.height / grid_.scale);
  cairo_clip(target_);
  cairo_push_group(target_);
  try {
    drawRange(begin, end, rect);
  } catch (...) {
    cairo_pattern_destroy(cairo_pop_group(target_));
    cairo_restore(target_);
    throw;
  }
  cairo_pop_group_to_source(target_);
  cairo_paint_with_alpha(target_, unit(layer.opacity));
  cairo_restore(target_);
}

void FrameDrawer::drawFiltered(const LayerBegin& layer, std::size_t begin, std::size_t end,
                               const Rect& rect) {
  const Rect pixels = wholePixels(rect, grid_.scale, grid_.x, grid_.y);
  const double room = isOnGrid_ ? pixelsOfBand : pixelsOfLooseBand;
  const double width = std::min(pixels.size.width, 32'767.0);
  const double height = std::clamp(std::floor(room / width), 1.0, 32'767.0);
  for (double y = pixels.top(); y < pixels.bottom(); y += height)
    for (double x = pixels.left(); x < pixels.right(); x += width)
      drawBand(
          layer, begin, end,
          {{x, y}, {std::min(width, pixels.right() - x), std::min(height, pixels.bottom() - y)}});
}

/// Whatever the target is, an image surface of our own: groups of other targets have no pixels
/// to filter.
void FrameDrawer::drawBand(const LayerBegin& layer, std::size_t begin, std::size_t end,
                           const Rect& pixels) {
  const auto width = static_cast<int>(pixels.size.width);
  const auto height = static_cast<int>(pixels.size.height);
  const CairoSurface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
  const CairoContext context(cairo_create(surface.get()));
  cairo_translate(context.get(), grid_.x - pixels.left(), grid_.y - pixels.top());
  cairo_scale(context.get(), grid_.scale, grid_.scale);
  const Point corner{(pixels.left() - grid_.x) / grid_.scale,
                     (pixels.top() - grid_.y) / grid_.scale};
  FrameDrawer(operations_, layers_, context.get(), grid_.scale)
      .drawRange(begin, end,
                 {corner, {pixels.size.width / grid_.scale, pixels.size.height / grid_.scale}});
  cairo_surface_flush(surface.get());
  if (const cairo_status_t status = cairo_status(context.get()); status != CAIRO_STATUS_SUCCESS)
    throw PaintError(PaintError::Code::drawingFailed, cairo_status_to_string(status));

  unsigned char* row = cairo_image_surface_get_data(surface.get());
  const int stride = cairo_image_surface_get_stride(surface.get());
  for (int y = 0; y < height; ++y, row += stride)
    applyFilter(filterOf(layer), reinterpret_cast<std::uint32_t*>(row),
                static_cast<std::size_t>(width));
  cairo_surface_mark_dirty(surface.get());

  cairo_matrix_t before;
  cairo_get_matrix(target_, &before);
  cairo_translate(target_, corner.x, corner.y);
  cairo_scale(target_, 1 / grid_.scale, 1 / grid_.scale);
  cairo_set_source_surface(target_, surface.get(), 0, 0);
  if (isOnGrid_) cairo_pattern_set_filter(cairo_get_source(target_), CAIRO_FILTER_NEAREST);
  cairo_paint_with_alpha(target_, layer.opacity < 1 ? unit(layer.opacity) : 1);
  cairo_set_matrix(target_, &before);
}

void FrameDrawer::setSource(const Paint& paint) {
  if (const auto* color = std::get_if<RGBA>(&paint)) {
    cairo_set_source_rgba(target_, unit(color->red), unit(color->green), unit(color->blue),
                          unit(color->alpha));
    return;
  }
  const auto& gradient = std::get<GradientPaint>(paint);
  cairo_pattern_t* pattern = cairo_pattern_create_linear(gradient.start.x, gradient.start.y,
                                                         gradient.end.x, gradient.end.y);
  const auto add = [pattern](double offset, const RGBA& c) {
    cairo_pattern_add_color_stop_rgba(pattern, offset, unit(c.red), unit(c.green), unit(c.blue),
                                      unit(c.alpha));
  };
  add(0, gradient.from);
  add(1, gradient.to);
  cairo_set_source(target_, pattern);
  cairo_pattern_destroy(pattern);
}

}  // namespace idlewyn::platform::internal
