// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/platform/view/Font.hpp>

/// The fonts of everything that shows sessions. All but `display` and `bigCount` follow the
/// user's text size.
///
///     text(session.title).font(Typography::rowTitle);
///     text(count).font(Typography::number);
namespace idlewyn {

using platform::Font;
using platform::FontDesign;
using platform::FontWeight;
using platform::TextStyle;

struct Typography {
  Typography() = delete;

  static constexpr Font display =
      Font::system(88, FontWeight::thin, FontDesign::rounded).monospacedDigit();
  static constexpr Font bigCount =
      Font::system(44, FontWeight::bold, FontDesign::rounded).monospacedDigit();
  static constexpr Font count = Font::system(TextStyle::largeTitle, FontDesign::rounded)
                                    .weight(FontWeight::bold)
                                    .monospacedDigit();
  static constexpr Font countLabel =
      Font::system(TextStyle::title3, FontDesign::rounded).weight(FontWeight::semibold);

  static constexpr Font title =
      Font::system(TextStyle::title3, FontDesign::rounded).weight(FontWeight::semibold);
  static constexpr Font screenTitle =
      Font::system(TextStyle::title3, FontDesign::rounded).weight(FontWeight::bold);
  static constexpr Font headline = Font::system(TextStyle::headline, FontDesign::rounded);
  static constexpr Font heroGlyph = Font::system(TextStyle::largeTitle);

  static constexpr Font body = Font::system(TextStyle::body);
  static constexpr Font rowTitle = Font::system(TextStyle::body).weight(FontWeight::medium);
  static constexpr Font rowTitleCompact =
      Font::system(TextStyle::subheadline).weight(FontWeight::medium);
  static constexpr Font supporting = Font::system(TextStyle::callout);
  static constexpr Font meta = Font::system(TextStyle::caption);
  static constexpr Font metaStrong = Font::system(TextStyle::caption).weight(FontWeight::semibold);
  static constexpr Font metaSmall = Font::system(TextStyle::caption2);
  static constexpr Font metaSmallStrong =
      Font::system(TextStyle::caption2).weight(FontWeight::semibold);

  static constexpr Font mono = Font::system(TextStyle::caption).monospaced();
  static constexpr Font monoBody = Font::system(TextStyle::body).monospaced();

  static constexpr Font number =
      Font::system(TextStyle::caption).weight(FontWeight::semibold).monospacedDigit();
  static constexpr Font numberSmall =
      Font::system(TextStyle::caption2).weight(FontWeight::semibold).monospacedDigit();
  static constexpr Font numberLarge =
      Font::system(TextStyle::headline, FontDesign::rounded).monospacedDigit();
};

}  // namespace idlewyn
