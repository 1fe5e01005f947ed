// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/SymbolDrawing.hpp>

#include <array>
#include <charconv>
#include <map>
#include <numbers>
#include <string_view>
#include <utility>

#include <IdlewynKit/platform/view/internal/paint/CairoPointer.hpp>

namespace idlewyn::platform::internal {
namespace {

/// Paths on a grid of 24 x 24. M, L, C and Z as in SVG; O is a circle (centre, radius) and K a
/// capsule (two ends, radius), clockwise; o and k the same the other way round, for holes: fills
/// count windings. The fill and the stroke of a symbol don't touch, so that a translucent paint
/// is even.
struct Outline {
  std::string_view fill;
  std::string_view stroke;
  double strokeWidth = 2;
};

constexpr double grid = 24;

constexpr std::array<Outline, 9> outlines{{
    // placeholder
    {"O12 12 1.6", "M4 8L4 4L8 4 M16 4L20 4L20 8 M20 16L20 20L16 20 M8 20L4 20L4 16"},
    // sparkle
    {"M12 1C12.9 7.8 16.2 11.1 23 12C16.2 12.9 12.9 16.2 12 23C11.1 16.2 7.8 12.9 1 12"
     "C7.8 11.1 11.1 7.8 12 1Z",
     {}},
    // chevronsWithSlash
    {{}, "M7 6.6L1.6 12L7 17.4 M17 6.6L22.4 12L17 17.4 M14 4.2L10 19.8", 2.2},
    // dottedCircle: lines without length are dots
    {{},
     "M16.6 12C16.6 14.54 14.54 16.6 12 16.6C9.46 16.6 7.4 14.54 7.4 12"
     "C7.4 9.46 9.46 7.4 12 7.4C14.54 7.4 16.6 9.46 16.6 12Z"
     "M21.6 12L21.6 12M20.31 16.8L20.31 16.8M16.8 20.31L16.8 20.31M12 21.6L12 21.6"
     "M7.2 20.31L7.2 20.31M3.69 16.8L3.69 16.8M2.4 12L2.4 12M3.69 7.2L3.69 7.2"
     "M7.2 3.69L7.2 3.69M12 2.4L12 2.4M16.8 3.69L16.8 3.69M20.31 7.2L20.31 7.2",
     2.3},
    // raisedHand
    {"K7.3 5.6 7.3 13 1.35 K10.7 2.9 10.7 13 1.35 K14.1 2.9 14.1 13 1.35 K17.5 5 17.5 14 1.35"
     "M5.95 11.6L18.85 11.6L18.85 15.6C18.85 20.2 16.2 22.8 12.4 22.8C9.4 22.8 7.5 21.6 6.1 19.4"
     "L2.2 13.9C1.6 12.9 1.9 11.9 2.8 11.5C3.6 11.2 4.4 11.5 4.9 12.2L5.95 13.7Z",
     {}},
    // checkmarkCircle
    {"O12 12 10.4 M8.11 11.69C7.66 11.24 6.94 11.24 6.49 11.69C6.04 12.14 6.04 12.86 6.49 13.31"
     "L9.89 16.71C10.12 16.94 10.43 17.07 10.76 17.05C11.09 17.03 11.39 16.88 11.59 16.62"
     "L17.59 9.22C17.99 8.73 17.92 8.01 17.42 7.61C16.93 7.21 16.21 7.28 15.81 7.78"
     "L10.61 14.18Z",
     {}},
    // exclamationTriangle
    {"M9.88 3.4C10.3 2.61 11.11 2.12 12 2.12C12.89 2.12 13.7 2.61 14.12 3.4L21.53 17.38"
     "C21.93 18.12 21.9 19.02 21.47 19.74C21.03 20.46 20.25 20.9 19.41 20.9L4.59 20.9"
     "C3.75 20.9 2.97 20.46 2.53 19.74C2.1 19.02 2.07 18.12 2.47 17.38Z"
     "k12 9.2 12 13.7 1.2 o12 17.2 1.35",
     {}},
    // sleepingMoon
    {"M19.43 14.96C18.52 19.6 14.26 22.79 9.56 22.36C4.87 21.93 1.25 18.02 1.2 13.3"
     "C1.15 8.58 4.67 4.59 9.36 4.06C7.33 6.99 7.6 10.93 10.02 13.55"
     "C12.43 16.18 16.35 16.76 19.43 14.96Z",
     "M13.6 2.6L18.2 2.6L13.6 8.2L18.2 8.2 M19.8 8.6L22.6 8.6L19.8 12L22.6 12", 1.7},
    // terminal
    {{},
     "M5 3.6L19 3.6C20.9 3.6 22.2 4.9 22.2 6.8L22.2 17.2C22.2 19.1 20.9 20.4 19 20.4L5 20.4"
     "C3.1 20.4 1.8 19.1 1.8 17.2L1.8 6.8C1.8 4.9 3.1 3.6 5 3.6Z"
     "M6.2 8.2L9.8 11.6L6.2 15 M12 15.4L17 15.4"},
}};

const Outline& outlineOf(SymbolName symbol) {
  const auto index = static_cast<std::size_t>(symbol);
  return index < outlines.size() ? outlines[index] : outlines[0];
}

class PathReader {
 public:
  PathReader(cairo_t* target, std::string_view path) : target_(target), path_(path) {}

  void trace() {
    while (!path_.empty()) {
      const char verb = path_.front();
      path_.remove_prefix(1);
      apply(verb);
    }
  }

 private:
  double number() {
    while (!path_.empty() && path_.front() == ' ')
      path_.remove_prefix(1);
    double value = 0;
    const auto end = std::from_chars(path_.data(), path_.data() + path_.size(), value).ptr;
    path_.remove_prefix(static_cast<std::size_t>(end - path_.data()));
    return value;
  }

  Point point() {
    const double x = number();
    return {x, number()};
  }

  void apply(char verb) {
    if (verb == 'Z') return cairo_close_path(target_);
    if (verb == ' ') return;
    const Point first = point();
    if (verb == 'M') return cairo_move_to(target_, first.x, first.y);
    if (verb == 'L') return cairo_line_to(target_, first.x, first.y);
    if (verb == 'O' || verb == 'o') return circle(first, number(), verb == 'o');
    const Point second = point();
    if (verb == 'K' || verb == 'k') return capsule(first, second, number(), verb == 'k');
    const Point third = point();
    cairo_curve_to(target_, first.x, first.y, second.x, second.y, third.x, third.y);
  }

  void circle(Point centre, double radius, bool isHole) { capsule(centre, centre, radius, isHole); }

  void capsule(Point top, Point bottom, double radius, bool isHole) {
    constexpr double half = std::numbers::pi;
    cairo_new_sub_path(target_);
    if (isHole) {
      cairo_arc_negative(target_, top.x, top.y, radius, 0, -half);
      cairo_arc_negative(target_, bottom.x, bottom.y, radius, half, 0);
    } else {
      cairo_arc(target_, top.x, top.y, radius, half, 2 * half);
      cairo_arc(target_, bottom.x, bottom.y, radius, 0, half);
    }
    cairo_close_path(target_);
  }

  cairo_t* target_;
  std::string_view path_;
};

CairoSurface makeMask(SymbolName symbol, int pixels) {
  CairoSurface mask(cairo_image_surface_create(CAIRO_FORMAT_A8, pixels, pixels));
  const CairoContext target(cairo_create(mask.get()));
  const double side = pixels;
  drawSymbol(target.get(), symbol, {{0, 0}, {side, side}});
  return cairo_status(target.get()) == CAIRO_STATUS_SUCCESS ? std::move(mask) : nullptr;
}

}  // namespace

void drawSymbol(cairo_t* target, SymbolName symbol, const Rect& box) {
  const Outline& outline = outlineOf(symbol);
  cairo_save(target);
  cairo_translate(target, box.left(), box.top());
  cairo_scale(target, box.size.width / grid, box.size.height / grid);
  cairo_new_path(target);
  if (!outline.fill.empty()) {
    PathReader(target, outline.fill).trace();
    cairo_fill(target);
  }
  if (!outline.stroke.empty()) {
    PathReader(target, outline.stroke).trace();
    cairo_set_line_width(target, outline.strokeWidth);
    cairo_set_line_cap(target, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(target, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke(target);
  }
  cairo_restore(target);
}

cairo_surface_t* symbolMask(SymbolName symbol, int pixels) {
  constexpr std::size_t maximumRemembered = 128;
  thread_local std::map<std::pair<SymbolName, int>, CairoSurface> masks;
  const auto key = std::pair(symbol, pixels);
  const auto found = masks.find(key);
  if (found != masks.end()) return found->second.get();
  if (masks.size() >= maximumRemembered) masks.clear();
  return masks.emplace(key, makeMask(symbol, pixels)).first->second.get();
}

}  // namespace idlewyn::platform::internal
