// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

/// Fonts as constants of the compiler: a size or a text style, a weight, a design.
///
///     constexpr Font count = Font::system(TextStyle::largeTitle, FontDesign::rounded)
///                                .weight(FontWeight::bold)
///                                .monospacedDigit();
namespace idlewyn::platform {

/// Named sizes, which follow the user's text size. Points at scale 1: largeTitle 26, title3 15,
/// headline 13 bold, body 13, callout 12, subheadline 11, caption 10, caption2 9; all but headline
/// regular.
enum class TextStyle : std::uint8_t {
  largeTitle,
  title3,
  headline,
  body,
  callout,
  subheadline,
  caption,
  caption2,
};

/// As in OpenType: 100 to 900.
enum class FontWeight : std::uint16_t {
  thin = 100,
  light = 300,
  regular = 400,
  medium = 500,
  semibold = 600,
  bold = 700,
  heavy = 800,
};

/// The monospaced design draws each character by itself: without ligatures and contextual
/// alternates, so that `!=` and `->` look like what they are.
enum class FontDesign : std::uint8_t { standard, rounded, monospaced };

class Font {
 public:
  /// A fixed size in points, which does not follow the user's text size.
  static constexpr Font system(double size, FontWeight weight = FontWeight::regular,
                               FontDesign design = FontDesign::standard) {
    return Font(size, false, weight, design);
  }
  static constexpr Font system(TextStyle style, FontDesign design = FontDesign::standard) {
    return Font(sizeOf(style), true, weightOf(style), design);
  }

  constexpr Font weight(FontWeight weight) const {
    Font font = *this;
    font.weight_ = weight;
    return font;
  }
  /// Every glyph as wide as every other.
  constexpr Font monospaced() const {
    Font font = *this;
    font.design_ = FontDesign::monospaced;
    return font;
  }
  /// Digits of one width, letters as they are.
  constexpr Font monospacedDigit() const {
    Font font = *this;
    font.hasMonospacedDigits_ = true;
    return font;
  }

  /// Points at text scale 1.
  constexpr double size() const noexcept { return size_; }
  constexpr bool followsTextScale() const noexcept { return followsTextScale_; }
  constexpr FontWeight weight() const noexcept { return weight_; }
  constexpr FontDesign design() const noexcept { return design_; }
  constexpr bool hasMonospacedDigits() const noexcept { return hasMonospacedDigits_; }

  friend constexpr bool operator==(const Font&, const Font&) = default;

 private:
  constexpr Font(double size, bool follows, FontWeight weight, FontDesign design)
      : size_(size), weight_(weight), design_(design), followsTextScale_(follows) {}

  static constexpr double sizeOf(TextStyle style) {
    switch (style) {
      case TextStyle::largeTitle: return 26;
      case TextStyle::title3: return 15;
      case TextStyle::headline:
      case TextStyle::body: return 13;
      case TextStyle::callout: return 12;
      case TextStyle::subheadline: return 11;
      case TextStyle::caption: return 10;
      case TextStyle::caption2: return 9;
    }
    return 13;
  }
  static constexpr FontWeight weightOf(TextStyle style) {
    return style == TextStyle::headline ? FontWeight::bold : FontWeight::regular;
  }

  double size_;
  FontWeight weight_;
  FontDesign design_;
  bool followsTextScale_;
  bool hasMonospacedDigits_ = false;
};

}  // namespace idlewyn::platform
