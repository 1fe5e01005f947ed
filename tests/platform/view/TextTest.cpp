// SPDX-License-Identifier: MIT
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/FontFamilies.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>
#include <IdlewynKit/platform/view/internal/text/TimeText.hpp>

namespace idlewyn::platform {
namespace {

using namespace internal;

/// The user's locale in this program. ICU looks once.
[[maybe_unused]] const int german = setenv("LC_ALL", "de_DE.UTF-8", 1);

constexpr Font body = Font::system(13);
constexpr Font typewriter = body.monospaced();
constexpr TruncationMode allModes[] = {TruncationMode::head, TruncationMode::middle,
                                       TruncationMode::tail};
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
  std::set<double> baselines;
  for (const cairo_glyph_t& glyph : glyphsOf(text))
    baselines.insert(glyph.y);
  return baselines.size();
}

void withEachFamily(std::initializer_list<const char*> families,
                    const std::function<void()>& work) {
  const FontFamilies before = fontFamilies();
  for (const char* family : families) {
    SCOPED_TRACE(family);
    setFontFamilies({{family}, {family}, {family}});
    work();
  }
  setFontFamilies(before);
}

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
}

TEST(TextShaping, givesDigitsOneWidthInEveryFace) {
  withEachFamily({"Inter", "Cantarell", "Quicksand", "Comfortaa", "DejaVu Sans"}, [] {
    for (const FontWeight weight : {FontWeight::thin, FontWeight::regular, FontWeight::bold}) {
      const Font font = Font::system(26, weight).monospacedDigit();
      EXPECT_DOUBLE_EQ(widthOf("11:11", font), widthOf("00:00", font));
      EXPECT_DOUBLE_EQ(widthOf("1:11:11", font), widthOf("9:56:78", font));
      EXPECT_DOUBLE_EQ(widthOf("\u0661", font), widthOf("\u0665", font));
      EXPECT_LT(widthOf("ii", font), widthOf("mm", font));  // letters as they are
      // A line that was fitted before its digits were widened.
      const auto tight = shaped("11 of 1111 tasks 1111", font, 120, 1, TruncationMode::middle);
      EXPECT_LE(tight->metrics().size.width, 120);
    }
  });
  EXPECT_LT(widthOf("1111"), widthOf("0000"));  // or the above shows nothing
}

TEST(TextShaping, keepsTheEndsThatTheTruncationKeeps) {
  // Glyphs are left out, or, outside of ASCII and with digits of one width, Pango is asked.
  for (const std::string text :
       {"Read: Sources/Auth/Middleware.swift", "R\u00E9ad: Sources/Auth/Middlewar\u00E9.swift"}) {
    for (const Font& font : {body, typewriter, body.monospacedDigit()}) {
      const auto whole = numbersOf(*shaped(text, font));
      for (const double width : {40.0, 100.0, 150.0}) {
        for (const TruncationMode mode : allModes) {
          const auto cut = shaped(text, font, width, 1, mode);
          const auto numbers = numbersOf(*cut);
          EXPECT_TRUE(cut->metrics().isTruncated);
          EXPECT_EQ(linesOf(*cut), 1U);
          EXPECT_LE(cut->metrics().size.width, width);
          EXPECT_GT(cut->metrics().size.width, width - 15);
          EXPECT_EQ(numbers.front() == whole.front(), mode != TruncationMode::head) << width;
          EXPECT_EQ(numbers.back() == whole.back(), mode != TruncationMode::tail) << width;
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
  using Case = std::tuple<std::string, std::optional<int>, std::size_t, bool>;
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
  for (const TruncationMode mode : allModes) {
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
        EXPECT_TRUE(result->metrics().isTruncated || (text.front() == '\n' && limit == 1));
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
  withEachFamily({"DejaVu Sans Mono"}, [&] { EXPECT_NE(shaped("remembered"), first); });
  for (int index = 0; index < 60'000; ++index)
    shaped(std::to_string(index));  // are forgotten
}

TEST(TextShaping, knowsTheHeightOfCapitals) {
  withEachFamily({"Inter", "Cantarell", "DejaVu Sans"}, [] {  // the last doesn't tell it
    EXPECT_NEAR(shaped("x", Font::system(100))->metrics().capHeight, 72, 6);
  });
}

using Seconds = std::chrono::duration<double>;
using Format = TimeText (*)(Date, Date, std::string_view);

constexpr Date now = dateFromReferenceSeconds(817'300'000.25);
constexpr double infinity = std::numeric_limits<double>::infinity();

/// ICU joins with spaces that don't break in some locales.
std::string plain(std::string text) {
  for (const std::string space : {"\u00A0", "\u202F"})
    for (std::size_t at; (at = text.find(space)) != std::string::npos;)
      text.replace(at, space.size(), " ");
  return text;
}

TEST(TimeText, countsInTheMannerOfTheLocale) {
  struct Case {
    Format format;
    double age;
    const char* locale;
    const char* text;
  };
  const Case cases[] = {
      {timerText, 0, "en_US", "0:00"},
      {timerText, 59.9, "en_US", "0:59"},
      {timerText, 247, "en_US", "4:07"},
      {timerText, 3600, "en_US", "1:00:00"},
      {timerText, 3847, "de_DE.UTF-8", "1:04:07"},
      {timerText, 100 * 3600 + 61, "en_US", "100:01:01"},
      {timerText, 247, "fi", "4.07"},
      {timerText, 3847, "da_DK", "1.04.07"},
      {timerText, -30, "en_US", "0:00"},  // a clock that is behind
      {timerText, notANumber, "en_US", "0:00"},
      {relativeDateText, 0, "en_US", "0 sec"},
      {relativeDateText, 60, "en_US", "1 min"},
      {relativeDateText, 8040, "en_US", "2 hr, 14 min"},
      {relativeDateText, 8040, "de_DE.UTF-8", "2 Std., 14 Min."},
      {relativeDateText, 8040, "", "2 Std., 14 Min."},
      {relativeDateText, 86'400 + 3600, "en_US", "1 day, 1 hr"},
      {relativeDateText, 4e7, "en_US", "1 yr, 3 mths"},
      {relativeDateText, -90, "en_US", "1 min, 30 sec"},    // the future, counted down
      {relativeDateText, -90.5, "en_US", "1 min, 31 sec"},  // each count lasts until it is reached
      {relativeDateText, infinity, "en_US", "10,000 yrs"},
      {relativeDateText, -1e300, "en_US", "10,000 yrs"},
      {relativeDateText, notANumber, "en_US", "\u2013"},
  };
  for (const auto& [format, age, locale, text] : cases)
    EXPECT_EQ(plain(format(now - Seconds(age), now, locale).text), text) << age << locale;
}

/// Follows the due times from `age` to `end`: each text lasts until its due time, not longer.
int walk(Format format, Date date, double age, double end) {
  int changes = 0;
  Date at = date + Seconds(age);
  TimeText shown = format(date, at, "en_US");
  while (at < date + Seconds(end)) {
    if (!shown.nextChange || *shown.nextChange <= at) {
      ADD_FAILURE() << shown.text << " is never due at " << (at - date).count();
      return changes;
    }
    const Date due = *shown.nextChange;
    for (const Date before : {at + (due - at) / 2, due - Seconds(0.001)}) {
      const TimeText same = format(date, before, "en_US");
      EXPECT_EQ(same.text, shown.text) << (before - date).count();
      EXPECT_EQ(same.nextChange, due) << (before - date).count();
    }
    const TimeText next = format(date, due, "en_US");
    EXPECT_NE(next.text, shown.text) << (due - date).count();
    shown = next;
    at = due;
    ++changes;
    if (testing::Test::HasFailure()) return changes;
  }
  return changes;
}

TEST(TimeText, isDueExactlyWhenTheTextChanges) {
  constexpr double year = 31'556'952;
  // Dates whose sums are rounded: fractions, and far ones where a double is coarse.
  for (const Date date : {now, dateFromReferenceSeconds(0.1), dateFromReferenceSeconds(1e9 / 3),
                          dateFromReferenceSeconds(-63'113'904'000.3)}) {
    EXPECT_GT(walk(relativeDateText, date, 0, 3 * year), 6000);
    EXPECT_GT(walk(relativeDateText, date, -3 * year, 1), 6000);
    EXPECT_GT(walk(timerText, date, -2, 7300), 7300 - 2);
  }
}

TEST(TimeText, isNeverDueWhereNothingIsCounted) {
  for (const double age : {notANumber, infinity, -infinity, 1e300, -1e300, 1e18}) {
    for (const Format format : {relativeDateText, timerText})
      EXPECT_EQ(format(now - Seconds(age), now, "en_US").nextChange, std::nullopt) << age;
  }
  const Date far = dateFromReferenceSeconds(1e22);  // a double can't count seconds there
  EXPECT_EQ(relativeDateText(far, far, "en_US").nextChange, std::nullopt);
}

}  // namespace
}  // namespace idlewyn::platform
