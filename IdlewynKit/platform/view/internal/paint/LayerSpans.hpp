// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

#include <IdlewynKit/platform/view/Frame.hpp>

namespace idlewyn::platform::internal {

/// A layer's last operation is the one before `end`; `bounds` hold all that it draws.
struct LayerSpan {
  std::size_t end = 0;
  Rect bounds;
};

/// The layers among the operations.
class LayerSpans {
 public:
  /// Layers that are never ended reach to the end; ends without a beginning count for nothing.
  /// Throws PaintError where layers that have an effect nest too deep.
  explicit LayerSpans(const std::vector<DrawOperation>& operations);

  /// Of the layer that begins at that operation.
  const LayerSpan& at(std::size_t begin) const { return spans_.at(indexes_.at(begin)); }

 private:
  std::vector<std::size_t> indexes_;
  std::vector<LayerSpan> spans_;
};

/// True for a layer that changes nothing.
bool isIdentity(const LayerBegin& layer);

/// What an operation may touch; empty for layers and for what can't be drawn, like a side that
/// is not a number.
Rect boundsOf(const DrawOperation& operation);

inline bool isEmpty(const Rect& rect) { return !(rect.size.width > 0 && rect.size.height > 0); }
/// Empty where they don't meet.
Rect intersection(const Rect& a, const Rect& b);

}  // namespace idlewyn::platform::internal
