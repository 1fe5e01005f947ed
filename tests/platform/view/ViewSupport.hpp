// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/Views.hpp>

/// What views look like, in points, pixels and words.
namespace idlewyn::platform {

inline constexpr Date now = dateFromReferenceSeconds(800'000'000);

inline Date after(double seconds) { return now + DateClock::duration(seconds); }

inline Environment english(Appearance appearance = Appearance::light) {
  Environment environment;
  environment.locale = "en_US";
  environment.appearance = appearance;
  return environment;
}

/// A filled rectangle of that size, so that its place can be read from a frame.
inline View block(double width, double height) {
  return Spacer(0).frame(width, height).background(Color(0.2, 0.4, 0.6));
}

inline Frame still(const View& view, const Environment& environment = english(),
                   const Proposal& proposal = {}) {
  return frameOf(view, environment, proposal, now);
}

/// A host whose clock is set by hand.
class Player {
 public:
  Frame show(const View& view, double seconds) {
    return host_.frame(view, english(), Proposal(), after(seconds));
  }

 private:
  Host host_;
};

template <class Operation>
std::vector<Operation> operations(const Frame& frame) {
  std::vector<Operation> found;
  for (const DrawOperation& operation : frame.operations) {
    if (const auto* wanted = std::get_if<Operation>(&operation)) found.push_back(*wanted);
  }
  return found;
}

/// "role label=value; ...", as a screen reader would go through them.
inline std::string spoken(const Frame& frame) {
  std::string found;
  for (const AccessibleElement& element : frame.elements) {
    const char* roles[] = {"text ", "image ", "progress ", "group "};
    if (!found.empty()) found += "; ";
    found += roles[static_cast<int>(element.role)] + element.label;
    if (element.value) found += "=" + std::to_string(*element.value).substr(0, 4);
  }
  return found;
}

inline std::uint32_t at(const Image& image, int x, int y) {
  return image.pixels.at(static_cast<std::size_t>(y * image.width + x));
}

/// Of the channels that differ most.
inline int distance(std::uint32_t a, std::uint32_t b) {
  int most = 0;
  for (int shift = 0; shift < 32; shift += 8)
    most = std::max(most, std::abs(static_cast<int>(a >> shift & 0xFFU) -
                                   static_cast<int>(b >> shift & 0xFFU)));
  return most;
}

/// Whether a painter and a screen reader can trust every number of it.
inline bool isFinite(const Rect& rect) {
  return std::isfinite(rect.left() + rect.top() + rect.size.width + rect.size.height) &&
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

/// A view and the words that `describe` finds for its frame.
struct Described {
  const char* reason;
  View view;
  std::string expected;
  double width = std::nan("");  ///< of its offer: the ideal one
  double height = std::nan("");
};

template <class Describe>
void check(Describe describe, const std::vector<Described>& rows) {
  for (const Described& row : rows) {
    const Frame frame = still(row.view, english(), {row.width, row.height});
    EXPECT_TRUE(isHarmless(frame)) << row.reason;
    EXPECT_EQ(describe(frame), row.expected) << row.reason;
  }
}

}  // namespace idlewyn::platform
