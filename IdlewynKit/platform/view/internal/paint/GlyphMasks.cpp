// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/GlyphMasks.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace idlewyn::platform::internal {
namespace {

constexpr int phases = 4;
constexpr double largestFont = 64;      // pixels an em
constexpr double largestGlyph = 1024;   // pixels a side
constexpr double farthest = 1'000'000;  // pixels
/// No glyph's ink is farther from its origin, in ems.
constexpr double reach = 16;
constexpr std::size_t maximumFonts = 64;
constexpr std::size_t maximumBytes = std::size_t{4} << 20U;

struct GlyphMask {
  int left = 0;  ///< from the whole pixel that the glyph stands on
  int top = 0;
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;
  bool isUsable = false;
};

/// The masks of one font at one scale. It keeps the font, so that no other gets its address.
class FontMasks {
 public:
  FontMasks(ScaledFont font, double scale) : font_(std::move(font)), scale_(scale) {
    cairo_matrix_t matrix;
    cairo_scaled_font_get_font_matrix(font_.get(), &matrix);
    em_ = std::max(std::hypot(matrix.xx, matrix.yx), std::hypot(matrix.xy, matrix.yy)) * scale;
  }

  bool isOf(const cairo_scaled_font_t* font, double scale) const {
    return font_.get() == font && scale_ == scale;
  }
  double em() const noexcept { return em_; }

  /// Grows `bytes` by what is drawn for it.
  const GlyphMask& mask(unsigned long glyph, int phase, std::size_t& bytes) {
    const auto [found, isNew] = masks_.try_emplace(glyph * phases + static_cast<unsigned>(phase));
    if (isNew) {
      draw(found->second, glyph, static_cast<double>(phase) / phases);
      bytes += sizeof(GlyphMask) + 64 + found->second.pixels.size();
    }
    return found->second;
  }

 private:
  void trace(cairo_t* target, unsigned long glyph) const {
    cairo_scale(target, scale_, scale_);
    cairo_set_scaled_font(target, font_.get());
    const cairo_glyph_t single{glyph, 0, 0};
    cairo_glyph_path(target, &single, 1);
  }

  void draw(GlyphMask& mask, unsigned long glyph, double phase) const {
    const CairoSurface nothing(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1));
    const CairoContext measure(cairo_create(nothing.get()));
    trace(measure.get(), glyph);
    double left = 0, top = 0, right = 0, bottom = 0;
    cairo_path_extents(measure.get(), &left, &top, &right, &bottom);
    left = std::floor(left * scale_ + phase);
    top = std::floor(top * scale_);
    const double width = std::ceil(right * scale_ + phase) - left;
    const double height = std::ceil(bottom * scale_) - top;
    const bool isBounded = width <= largestGlyph && height <= largestGlyph &&
                           std::abs(left) <= farthest && std::abs(top) <= farthest;
    if (cairo_status(measure.get()) != CAIRO_STATUS_SUCCESS || !isBounded) return;
    mask.isUsable = true;
    if (!(width > 0 && height > 0)) return;
    mask.left = static_cast<int>(left);
    mask.top = static_cast<int>(top);
    mask.width = static_cast<int>(width);
    mask.height = static_cast<int>(height);
    fill(mask, glyph, phase);
  }

  void fill(GlyphMask& mask, unsigned long glyph, double phase) const {
    const CairoSurface surface(
        cairo_image_surface_create(CAIRO_FORMAT_A8, mask.width, mask.height));
    const CairoContext target(cairo_create(surface.get()));
    cairo_translate(target.get(), phase - mask.left, -mask.top);
    trace(target.get(), glyph);
    cairo_fill(target.get());
    cairo_surface_flush(surface.get());
    mask.isUsable = cairo_status(target.get()) == CAIRO_STATUS_SUCCESS;
    if (!mask.isUsable) return;
    const unsigned char* row = cairo_image_surface_get_data(surface.get());
    const int stride = cairo_image_surface_get_stride(surface.get());
    for (int y = 0; y < mask.height; ++y, row += stride)
      mask.pixels.insert(mask.pixels.end(), row, row + mask.width);
  }

  ScaledFont font_;
  double scale_;
  double em_ = 0;
  std::unordered_map<unsigned long, GlyphMask> masks_;
};

/// A thread's masks, and the run that it is putting together.
class RunPainter {
 public:
  bool paint(const GlyphRun& run, double scale, Point origin, const Rect& visible,
             PlacedMask& result) {
    FontMasks& font = masksOf(run.font, scale);
    if (!(font.em() <= largestFont)) return false;
    placed_.clear();
    for (const cairo_glyph_t& glyph : run.glyphs)
      if (!place(font, glyph, scale, origin, visible)) return false;
    result = blend(visible);
    return true;
  }

 private:
  struct Placed {
    const GlyphMask* mask;
    int x;
    int y;
  };

  FontMasks& masksOf(const ScaledFont& font, double scale) {
    if (bytes_ > maximumBytes) forget();
    for (const auto& known : fonts_)
      if (known->isOf(font.get(), scale)) return *known;
    if (fonts_.size() >= maximumFonts) forget();
    return *fonts_.emplace_back(std::make_unique<FontMasks>(font, scale));
  }

  void forget() {
    fonts_.clear();
    bytes_ = 0;
  }

  /// False for a glyph that has no mask.
  bool place(FontMasks& font, const cairo_glyph_t& glyph, double scale, Point origin,
             const Rect& visible) {
    const double x = origin.x + glyph.x * scale;
    const double y = origin.y + glyph.y * scale;
    const double most = reach * font.em();
    const bool isSeen = x > visible.left() - most && x < visible.right() + most &&
                        y > visible.top() - most && y < visible.bottom() + most;
    if (!isSeen || std::abs(x) > farthest || std::abs(y) > farthest) return true;
    const auto quarters = static_cast<int>(std::floor(x * phases + 0.5));
    const int phase = quarters & (phases - 1);
    const GlyphMask& mask = font.mask(glyph.index, phase, bytes_);
    if (mask.width > 0)
      placed_.push_back({&mask, (quarters - phase) / phases + mask.left,
                         static_cast<int>(std::floor(y + 0.5)) + mask.top});
    return mask.isUsable;
  }

  PlacedMask blend(const Rect& visible) const {
    double left = farthest, top = farthest, right = -farthest, bottom = -farthest;
    for (const auto& [mask, x, y] : placed_) {
      left = std::min<double>(left, x);
      top = std::min<double>(top, y);
      right = std::max<double>(right, x + mask->width);
      bottom = std::max<double>(bottom, y + mask->height);
    }
    left = std::max(left, std::floor(visible.left()));
    top = std::max(top, std::floor(visible.top()));
    right = std::min(right, std::ceil(visible.right()));
    bottom = std::min(bottom, std::ceil(visible.bottom()));
    if (!(left < right && top < bottom)) return {};
    PlacedMask result{nullptr, static_cast<int>(left), static_cast<int>(top)};
    result.surface.reset(cairo_image_surface_create(CAIRO_FORMAT_A8, static_cast<int>(right - left),
                                                    static_cast<int>(bottom - top)));
    cairo_surface_t* surface = result.surface.get();
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) return result;
    cairo_surface_flush(surface);
    for (const Placed& placed : placed_)
      add(placed, result);
    cairo_surface_mark_dirty(surface);
    return result;
  }

  /// Where glyphs overlap what they cover adds up.
  static void add(const Placed& placed, const PlacedMask& result) {
    const GlyphMask& mask = *placed.mask;
    cairo_surface_t* surface = result.surface.get();
    unsigned char* pixels = cairo_image_surface_get_data(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    const int x = placed.x - result.left;
    const int y = placed.y - result.top;
    const int from = std::max(0, -x);
    const int to = std::min(mask.width, cairo_image_surface_get_width(surface) - x);
    const int last = std::min(mask.height, cairo_image_surface_get_height(surface) - y);
    for (int row = std::max(0, -y); row < last; ++row) {
      const std::uint8_t* source = mask.pixels.data() + row * mask.width;
      unsigned char* target = pixels + (y + row) * stride + x;
      for (int column = from; column < to; ++column)
        target[column] = static_cast<unsigned char>(std::min(target[column] + source[column], 255));
    }
  }

  std::vector<std::unique_ptr<FontMasks>> fonts_;
  std::size_t bytes_ = 0;
  std::vector<Placed> placed_;
};

}  // namespace

bool maskOf(const GlyphRun& run, double scale, Point origin, const Rect& visible,
            PlacedMask& result) {
  thread_local RunPainter painter;
  return !run.hasColors && painter.paint(run, scale, origin, visible, result);
}

}  // namespace idlewyn::platform::internal
