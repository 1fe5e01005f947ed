// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include <IdlewynKit/platform/view/Frame.hpp>

namespace idlewyn::platform::internal {

/// What is laid over a part of the picture.
struct Layer {
  LayerBegin effect;
  /// Assistive technology learns nothing of it: it is hidden, or about to be.
  bool isSilent = false;
};

/// Collects a frame's operations and elements in the order of placing.
class FrameBuilder {
 public:
  void draw(DrawOperation operation);
  void speak(AccessibleRole role, std::string_view label, const Rect& rect,
             std::optional<double> value = std::nullopt);

  void begin(const Layer& layer);
  void end();
  /// Nothing that is placed now is seen or spoken.
  bool isHidden() const noexcept { return invisible_ > 0 && silent_ > 0; }

  std::size_t elementCount() const noexcept { return elements_.size(); }
  /// What was spoken since there were `from` elements becomes one of that label.
  void mergeElements(std::size_t from, std::string_view label, const Rect& rect);
  /// The same without a label: silent, unless it is merged again.
  void replaceElements(std::size_t from, const Rect& rect);

  std::vector<DrawOperation> takeOperations() { return std::move(operations_); }
  /// Without those that have nothing to say.
  std::vector<AccessibleElement> takeElements();

 private:
  struct OpenLayer {
    std::size_t begin;  ///< of its operation, or noOperation
    bool isInvisible;
    bool isSilent;
  };

  /// One drawing needs no layer to be fainter.
  bool foldOpacity(std::size_t begin);

  std::vector<DrawOperation> operations_;
  std::vector<AccessibleElement> elements_;
  std::vector<OpenLayer> open_;
  int invisible_ = 0;
  int silent_ = 0;
  int effects_ = 0;
};

/// A style with its appearance decided; a gradient's points are those of the unit square.
Paint resolved(const ShapeStyle& style, Appearance appearance);
/// The same style over a place.
Paint stretchedOver(const Paint& paint, const Rect& rect);

}  // namespace idlewyn::platform::internal
