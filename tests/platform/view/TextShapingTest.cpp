// SPDX-License-Identifier: MIT
#include <chrono>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/FontFamilies.hpp>
#include <IdlewynKit/platform/view/internal/ShapedText.hpp>
#include <IdlewynKit/platform/view/internal/TextShaping.hpp>

namespace idlewyn::platform {
namespace {

constexpr Font body = Font::system(13);
constexpr Font typewriter = body.monospaced();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

std::shared_ptr<const ShapedText> shaped(std::string_view text, const Font& font = body,
                                         std::optional<double> width = {},
                                         std::optional<int> lines = {},
                                         TruncationMode truncation = TruncationMode::tail) {
  return shapeText({text, font, 1, width, lines, truncation});
}

double widthOf(std::string_view text, const Font& font = body) {
  return shaped(text, font)->metrics().size.width;
}

std::vector<cairo_glyph_t> glyphsOf(const ShapedText& text) {
  std::vector<cairo_glyph_t> glyphs;
  for (const GlyphRun& run : text.runs())
    glyphs.insert(glyphs.end(), run.glyphs.begin(), run.glyphs.end());
  return glyphs;
}

/// The glyphs' numbers from left to right, line by line.
std::vector<unsigned long> numbersOf(const ShapedText& text) {
  std::vector<unsigned long> numbers;
  for (const cairo_glyph_t& glyph : glyphsOf(text))
    numbers.push_back(glyph.index);
  return numbers;
}

std::size_t linesOf(const ShapedText& text) {
  std::map<double, int> baselines;
  for (const cairo_glyph_t& glyph : glyphsOf(text))
    ++baselines[glyph.y];
  return baselines.size();
}

/// Uses families for a while.
class FamiliesFor {
 public:
  explicit FamiliesFor(const std::string& family) {
    setFontFamilies({{family}, {family}, {family}});
  }
  FamiliesFor(const FamiliesFor&) = delete;
  FamiliesFor& operator=(const FamiliesFor&) = delete;
  ~FamiliesFor() { setFontFamilies(before_); }

 private:
  FontFamilies before_ = fontFamilies();
};

TEST(TextShaping, scalesWidthsExactly) {
  // Whatever is hinted or rounded breaks this.
  const std::string text = "Refactor the auth middleware, AVATAR 117";
  for (const Font& font : {body, typewriter, body.weight(FontWeight::semibold)}) {
    const double width = widthOf(text, Font::system(20, font.weight(), font.design()));
    for (const double size : {8.0, 13.0, 13.7, 40.0, 100.0})
      EXPECT_NEAR(widthOf(text, Font::system(size, font.weight(), font.design())),
                  width * size / 20, 0.1)
          << size;
  }
  const Font styled = Font::system(TextStyle::body);
  EXPECT_EQ(shapeText({text, styled, 1.5, {}, {}, {}})->metrics().size.width,
            widthOf(text, Font::system(19.5)));
  EXPECT_EQ(shapeText({text, body, 1.5, {}, {}, {}}), shapeText({text, body, 1.5, {}, {}, {}}));
  EXPECT_EQ(shapeText({text, body, 1.5, {}, {}, {}})->metrics().size.width, widthOf(text));
}

TEST(TextShaping, givesDigitsOneWidthInEveryFace) {
  for (const char* family : {"Inter", "Cantarell", "Quicksand", "Comfortaa", "DejaVu Sans"}) {
    const FamiliesFor families(family);
    for (const FontWeight weight : {FontWeight::thin, FontWeight::regular, FontWeight::bold}) {
      const Font font = Font::system(26, weight).monospacedDigit();
      EXPECT_DOUBLE_EQ(widthOf("11:11", font), widthOf("00:00", font)) << family;
      EXPECT_DOUBLE_EQ(widthOf("1:11:11", font), widthOf("9:56:78", font)) << family;
      EXPECT_DOUBLE_EQ(widthOf("\u0661", font), widthOf("\u0665", font)) << family;
      EXPECT_LT(widthOf("ii", font), widthOf("mm", font)) << family;  // letters as they are
      // A line that was fitted before its digits were widened.
      const auto tight = shaped("11 of 1111 tasks 1111", font, 120, 1, TruncationMode::middle);
      EXPECT_LE(tight->metrics().size.width, 120) << family;
    }
  }
  EXPECT_LT(widthOf("1111"), widthOf("0000"));  // or the above shows nothing
}

TEST(TextShaping, keepsTheEndsThatTheTruncationKeeps) {
  struct Case {
    TruncationMode mode;
    bool keepsHead, keepsTail;
  };
  const Case cases[] = {{TruncationMode::head, false, true},
                        {TruncationMode::middle, true, true},
                        {TruncationMode::tail, true, false}};
  // Glyphs are left out, or, outside of ASCII and with digits of one width, Pango is asked.
  for (const std::string text :
       {"Read: Sources/Auth/Middleware.swift", "R\u00E9ad: Sources/Auth/Middlewar\u00E9.swift"}) {
    for (const Font& font : {body, typewriter, body.monospacedDigit()}) {
      const auto whole = numbersOf(*shaped(text, font));
      for (const double width : {40.0, 100.0, 150.0}) {
        for (const Case& known : cases) {
          const auto cut = shaped(text, font, width, 1, known.mode);
          const auto numbers = numbersOf(*cut);
          EXPECT_TRUE(cut->metrics().isTruncated);
          EXPECT_EQ(linesOf(*cut), 1U);
          EXPECT_LE(cut->metrics().size.width, width);
          EXPECT_GT(cut->metrics().size.width, width - 15);
          EXPECT_EQ(numbers.front() == whole.front(), known.keepsHead) << width;
          EXPECT_EQ(numbers.back() == whole.back(), known.keepsTail) << width;
          if (font != typewriter) continue;
          // The ellipsis is no wider than it is by itself: every glyph takes one place.
          const double places = cut->metrics().size.width / widthOf("m", typewriter);
          EXPECT_NEAR(places, static_cast<double>(numbers.size()), 0.01) << text << width;
        }
      }
    }
  }
  // Signs that a face for code may have joined: left out as a whole.
  const auto arrows = shaped("a -----> b", typewriter, 40, 1, TruncationMode::middle);
  EXPECT_EQ(numbersOf(*arrows).size(), 5U);
  EXPECT_EQ(numbersOf(*shaped("wide", body, 1, 1)).size(), 1U);  // the ellipsis alone
}

TEST(TextShaping, keepsToItsLimitOfLinesAcrossParagraphs) {
  struct Case {
    std::string text;
    std::optional<int> limit;
    std::size_t lines;
    bool isTruncated;
  };
  const std::string many = "one two three four five six seven eight nine ten eleven twelve";
  const Case cases[] = {
      {many, {}, 5, false},
      {many, 3, 3, true},
      {many, 5, 5, false},
      {many, 0, 1, true},
      {"a\nb\nc\nd", {}, 4, false},
      {"a\nb\nc\nd", 2, 2, false},  // the rest fits the last line
      {"a\r\nb\u2029c\rd", {}, 4, false},
      {"a\n" + many + "\nb", 4, 4, true},
      {many + "\n" + many, 7, 7, true},
  };
  for (const TruncationMode mode :
       {TruncationMode::head, TruncationMode::middle, TruncationMode::tail}) {
    for (const auto& [text, limit, lines, isTruncated] : cases) {
      const auto result = shaped(text, body, 100, limit, mode);
      EXPECT_EQ(linesOf(*result), lines) << text << limit.value_or(-1);
      EXPECT_EQ(result->metrics().isTruncated, isTruncated) << text << limit.value_or(-1);
      EXPECT_LE(result->metrics().size.width, 100);
      const double line = shaped("a")->metrics().size.height;
      EXPECT_NEAR(result->metrics().size.height, line * static_cast<double>(lines), 0.1);
    }
  }
}

TEST(TextShaping, showsSomethingForEveryByte) {
  const std::pair<std::string_view, std::string_view> alike[] = {
      {"a\xFF\xFE z", "a\uFFFD\uFFFD z"},
      {"\xE2\x82", "\uFFFD\uFFFD"},            // cut short
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xC0\xAF\xF5", "\uFFFD\uFFFD\uFFFD"},  // overlong, beyond Unicode
      {{"a\0b", 3}, "a\uFFFDb"},
      {"\x1B[31m\x7F\u0085", "\uFFFD[31m\uFFFD\uFFFD"},  // nothing is hidden
      {"a\nb\r\nc\u2028d\n", "a b c d"},                 // on one line
  };
  for (const auto& [text, shown] : alike) {
    EXPECT_EQ(numbersOf(*shaped(text, body, {}, 1)), numbersOf(*shaped(shown, body, {}, 1)))
        << shown;
    EXPECT_EQ(shaped(text, body, {}, 1)->metrics().size.width, widthOf(shown)) << shown;
  }
  EXPECT_EQ(shaped("\U000F0000\U000F0001")->missing().size(), 2U);  // in no font
  EXPECT_EQ(shaped("")->metrics().size.height, shaped("x")->metrics().size.height);
}

TEST(TextShaping, alignsLinesFromRightToLeftAndKeepsTheirDirection) {
  std::string text;
  for (int word = 0; word < 400; ++word)
    text += "שלום עולם latin words ";
  const auto result = shaped(text, body, 300);
  std::map<double, double> rights;
  for (const cairo_glyph_t& glyph : glyphsOf(*result))
    rights[glyph.y] = std::max(rights[glyph.y], glyph.x);
  EXPECT_GT(rights.size(), 50U);
  for (const auto& [y, right] : rights)
    EXPECT_GT(right, result->metrics().size.width - 12) << y;
}

TEST(TextShaping, takesLongTextsInItsStride) {
  std::string words;
  while (words.size() < 1'000'000)
    words += words.size() % 7 == 0 ? "\n" : "word ";
  const std::string texts[] = {words, std::string(1'000'000, 'w'), std::string(1'000'000, '\n'),
                               std::string(1'000'000, '\xFF')};
  const auto start = std::chrono::steady_clock::now();
  for (const std::string& text : texts) {
    for (const auto width : {std::optional<double>(), std::optional(0.0), std::optional(200.0)}) {
      for (const auto limit : {std::optional<int>(), std::optional(1), std::optional(3)}) {
        const auto result = shaped(text, body, width, limit, TruncationMode::middle);
        if (text.front() != '\n' || limit != 1) {
          EXPECT_TRUE(result->metrics().isTruncated);
        }
        EXPECT_LT(result->metrics().size.height, limit ? 70 : 70'000);
      }
    }
  }
  // Hours, should a long word be shaped anew for each of its lines.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST(TextShaping, remembersWhatItHasShaped) {
  const auto first = shaped("remembered");
  EXPECT_EQ(shaped("remembered"), first);
  EXPECT_EQ(shaped("remembered", body, 400), first);  // fits as it is
  EXPECT_NE(shaped("remembered", body, 30), first);
  EXPECT_NE(shaped("remembered", body.weight(FontWeight::bold)), first);
  EXPECT_NE(shaped("remembered", body, {}, 1), first);
  EXPECT_NE(shapeText({"remembered", body, notANumber, notANumber, {}, {}}), nullptr);
  const FamiliesFor families("DejaVu Sans Mono");
  EXPECT_NE(shaped("remembered"), first);
  for (int index = 0; index < 60'000; ++index)
    shaped(std::to_string(index));  // are forgotten
}

TEST(TextShaping, knowsTheHeightOfCapitals) {
  for (const char* family : {"Inter", "Cantarell", "DejaVu Sans"}) {  // the last doesn't tell it
    const FamiliesFor families(family);
    EXPECT_NEAR(capHeight(Font::system(100), 1), 72, 6) << family;
    EXPECT_NEAR(capHeight(Font::system(TextStyle::body), 2), 2 * capHeight(body, 1), 0.01);
    EXPECT_EQ(shaped("x")->metrics().capHeight, capHeight(body, 1)) << family;
  }
}

}  // namespace
}  // namespace idlewyn::platform
