// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// What an agent is doing, on one monospaced line that loses its middle where room is short.
///
///     ActivityLine("Read: Sources/Auth/Middleware.swift", Palette::OnDark::secondary,
///                  /*showsIcon=*/true, /*compact=*/false)
namespace idlewyn {

using platform::ShapeStyle;
using platform::View;

struct ActivityLine {
  IDLEWYNKIT_EXPORT ActivityLine(std::string text, ShapeStyle style, bool showsIcon, bool compact);

  IDLEWYNKIT_EXPORT View body() const;

  friend bool operator==(const ActivityLine&, const ActivityLine&) = default;

  std::string text;
  /// A colour or a gradient.
  ShapeStyle style;
  /// A terminal before the text.
  bool showsIcon;
  /// The smaller font.
  bool compact;
};

}  // namespace idlewyn
