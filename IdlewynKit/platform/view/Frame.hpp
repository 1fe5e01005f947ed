// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/view/Color.hpp>
#include <IdlewynKit/platform/view/Geometry.hpp>

/// What a view looks like at one moment: plain data, which any thread may paint.
///
///     Frame frame = host.frame(view, environment, size, now);
///     paintPNG(frame, 2.0, "sessions.png");
namespace idlewyn::platform {

namespace internal {
class ShapedText;
}

/// Colours with their appearance decided. A gradient's points are those of the frame.
struct GradientPaint {
  RGBA from;
  RGBA to;
  Point start;
  Point end;
};
using Paint = std::variant<RGBA, GradientPaint>;

enum class SymbolName : std::uint8_t;

/// Drawn in their order. Filters and opacity hold for what stands between begin and end.
struct TextOperation {
  std::shared_ptr<const internal::ShapedText> text;
  Point origin;  ///< top left of its box
  Paint paint;
};
struct SymbolOperation {
  SymbolName symbol;
  Rect box;  ///< square
  Paint paint;
};
struct CapsuleOperation {
  Rect rect;
  Paint paint;
  bool isContinuous = true;  ///< curvature without a jump, else half circles
};
struct RectangleOperation {
  Rect rect;
  Paint paint;
  double cornerRadius = 0;  ///< at most half of the shorter side
};
/// Grayscale first, then contrast, then the multiplication, then opacity.
struct LayerBegin {
  double opacity = 1;
  double grayscale = 0;
  double contrast = 1;
  RGBA multiply{1, 1, 1, 1};
};
struct LayerEnd {};
using DrawOperation = std::variant<TextOperation, SymbolOperation, CapsuleOperation,
                                   RectangleOperation, LayerBegin, LayerEnd>;

enum class AccessibleRole : std::uint8_t { text, image, progressBar, group };

struct AccessibleElement {
  AccessibleRole role = AccessibleRole::text;
  std::string label;  ///< UTF-8; of a longer text its first 16,384 bytes
  Rect rect;
  /// A progress bar's, 0 to 1.
  std::optional<double> value;
};

struct Frame {
  Size size;
  std::vector<DrawOperation> operations;
  /// In reading order.
  std::vector<AccessibleElement> elements;
  /// When the picture next changes by itself; absent for never. A frame that `isAnimating` wants
  /// to be followed by the next one at once.
  std::optional<Date> nextChange;
  bool isAnimating = false;
};

}  // namespace idlewyn::platform
