// SPDX-License-Identifier: MIT
#pragma once

#include <cmath>
#include <string>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Views.hpp>

namespace idlewyn::platform {

/// A filled rectangle of that size, so that its place can be read from a frame.
inline View block(double width, double height) {
  return Spacer(0).frame(width, height).background(Color(0.2, 0.4, 0.6));
}

inline Frame still(const View& view, const Proposal& proposal = {},
                   const Environment& environment = {}) {
  return frameOf(view, environment, proposal, dateFromReferenceSeconds(0));
}

template <class Operation>
std::vector<Operation> operations(const Frame& frame) {
  std::vector<Operation> found;
  for (const DrawOperation& operation : frame.operations) {
    if (const auto* wanted = std::get_if<Operation>(&operation)) found.push_back(*wanted);
  }
  return found;
}

inline std::vector<Rect> blocks(const Frame& frame) {
  std::vector<Rect> rects;
  for (const auto& operation : operations<RectangleOperation>(frame)) {
    rects.push_back(operation.rect);
  }
  return rects;
}

inline void PrintTo(const Rect& rect, std::ostream* out) {
  *out << rect.left() << "," << rect.top() << " " << rect.size.width << "x" << rect.size.height;
}

/// Whether a painter and a screen reader can trust every number of it.
inline bool isFinite(const Rect& rect) {
  return std::isfinite(rect.left()) && std::isfinite(rect.top()) &&
         std::isfinite(rect.size.width) && std::isfinite(rect.size.height) &&
         rect.size.width >= 0 && rect.size.height >= 0;
}

inline bool isHarmless(const Frame& frame) {
  bool harmless = isFinite(Rect{{}, frame.size});
  int depth = 0;
  for (const DrawOperation& operation : frame.operations) {
    if (const auto* text = std::get_if<TextOperation>(&operation)) {
      harmless &= text->text && isFinite(Rect{text->origin, {}});
    } else if (const auto* symbol = std::get_if<SymbolOperation>(&operation)) {
      harmless &= isFinite(symbol->box);
    } else if (const auto* capsule = std::get_if<CapsuleOperation>(&operation)) {
      harmless &= isFinite(capsule->rect);
    } else if (const auto* rectangle = std::get_if<RectangleOperation>(&operation)) {
      harmless &= isFinite(rectangle->rect);
    } else if (const auto* layer = std::get_if<LayerBegin>(&operation)) {
      harmless &= layer->opacity > 0 && layer->opacity <= 1 && layer->contrast >= 0;
      ++depth;
    } else {
      harmless &= --depth >= 0;
    }
  }
  for (const AccessibleElement& element : frame.elements) {
    harmless &= isFinite(element.rect) && (!element.value || std::isfinite(*element.value));
  }
  return harmless && depth == 0;
}

}  // namespace idlewyn::platform
