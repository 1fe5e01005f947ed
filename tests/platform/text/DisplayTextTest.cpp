// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace idlewyn::platform {
namespace {

using namespace std::string_literals;

struct Case {
  std::string text;
  std::string shown;
  const char* reason;
};

std::string repeated(std::string_view text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i)
    result += text;
  return result;
}

/// Lines and blocks alike.
void expectBoth(const std::vector<Case>& cases) {
  for (const Case& row : cases) {
    EXPECT_EQ(displayLine(row.text), row.shown) << row.reason;
    EXPECT_EQ(displayBlock(row.text), row.shown) << row.reason;
  }
}

void expectStays(const std::vector<std::string>& texts) {
  for (const std::string& text : texts) {
    EXPECT_EQ(displayLine(text), text);
    EXPECT_EQ(displayBlock(text), text);
  }
}

TEST(DisplayText, KeepsHonestText) {
  expectStays({
      "",
      "git commit -m 'fix: a \\n b' && sed 's/\\(a\\)/\\1/' C:\\new\\users",
      "printf '\\e[1m' \\d{3} \\\\server\\x",
      "Grüße, Привет, 你好，世界, שלום, مرحبا, हिन्दी, 한국어, ไทย",
      "q\u0307\u0323 e\u0301",                                         // marks
      "\u0645\u06CC\u200C\u062E\u0648\u0627\u0647\u0645",              // Persian, with a non-joiner
      "\u0642\u0631\u0627\u0631\u062F\u0627\u062F\u200C\u0647\u0627",  // after a letter that ends
                                                                       // its join
      "\u0647\u200D .",                                                // a letter's initial form
      "\u0915\u094D\u200D\u0937 \u0915\u094D\u200C\u0937",  // conjuncts that are asked for or not
      "\u0DC1\u0DCA\u200D\u0DBB\u0DD3",                     // Sinhala
      "\u09B0\u200D\u09CD\u09AF",                           // Bengali, the joiner before the virama
      "\U0001F468\u200D\U0001F469\u200D\U0001F467\u200D\U0001F466",  // a family
      "\U0001F469\U0001F3FD\u200D\U0001F4BB \U0001F3F3\uFE0F\u200D\U0001F308",
      "\u2764\uFE0F \u2764\uFE0E 1\uFE0F\u20E3 \U0001F1E9\U0001F1EA",
      "\U0001F3F4\U000E0067\U000E0062\U000E0077\U000E006C\U000E0073\U000E007F",  // Wales
      "\u2229\uFE00 \u1820\u180B",  // standardized variations
      "\u1112\u119E\u11AB",         // an old Hangul syllable
      "\uFFFD",
  });
}

TEST(DisplayText, WritesOutWhatMovesReordersOrHides) {
  expectBoth({
      {"a\x1B[2Jb\x7F", "a\\u{1B}[2Jb\\u{7F}", "controls"},
      {"a\u0085b\u009Bc", "a\\u{85}b\\u{9B}c", "C1 controls"},
      {"a\rb", "a\\u{0D}b", "a carriage return"},
      {"a\0b"s, "a\\u{00}b", "NUL"},
      {"\u202Egpj\u202C", "\\u{202E}gpj\\u{202C}", "an override"},
      {"\u2066a\u2069\u200F", "\\u{2066}a\\u{2069}\\u{200F}", "isolates and marks of direction"},
      {"a\u2028b\u2029c", "a\\u{2028}b\\u{2029}c", "separators"},
      {"a\u200Bb\uFEFFc\u00ADd\u2060", "a\\u{200B}b\\u{FEFF}c\\u{AD}d\\u{2060}", "zero widths"},
      {"\u3164\u115F\uFFA0\u2800\u034F\U0001D159",
       "\\u{3164}\\u{115F}\\u{FFA0}\\u{2800}\\u{34F}\\u{1D159}", "empty glyphs"},
      {"a\u00A0b\u3000c\u1680d", "a\\u{A0}b\\u{3000}c\\u{1680}d", "exotic blanks"},
      {"a" + repeated("\u2003", 20) + "b", "a\\u{2003*20}b", "a run of them"},
      {"\U000E0041\U000E0100", "\\u{E0041}\\u{E0100}", "tags, selectors"},
      {"\U000F0000\uE000\u0378\uFFFF", "\\u{F0000}\\u{E000}\\u{378}\\u{FFFF}", "no characters"},
      {"\uFFF9a\uFFFC", "\\u{FFF9}a\\u{FFFC}", "annotations, replaced objects"},
  });
}

TEST(DisplayText, WritesOutJoinersAndSelectorsWhereTheyDoNotBelong) {
  expectBoth({
      {"rm\u200D -rf", "rm\\u{200D} -rf", "letters that do not join"},
      {"\u200D\u0647", "\\u{200D}\u0647", "nothing before it"},
      {"\u0647\u200D\u200D", "\u0647\u200D\\u{200D}", "twice"},
      {"\u0628\u200Ca", "\u0628\\u{200C}a", "another script after it"},
      {"\u0628\u200D\u0628", "\u0628\\u{200D}\u0628", "letters that join without it"},
      {"\u00A9\u200D\u00AE", "\u00A9\\u{200D}\u00AE", "no emoji sequence"},
      {"a\uFE0F", "a\\u{FE0F}", "no variation of a letter"},
      {"1\uFE0F 1\uFE0E\u20E3", "1\\u{FE0F} 1\\u{FE0E}\\u{20E3}", "no keycap"},
      {"\u2764\uFE0F\uFE0F", "\u2764\uFE0F\\u{FE0F}", "two selectors"},
      {"\U0001F3F4\U000E0067\U000E007F", "\U0001F3F4\\u{E0067}\\u{E007F}", "no region"},
  });
  std::string joined = "\U0001F468";
  for (int i = 0; i < 4; ++i)
    joined += "\u200D\U0001F468";
  const std::string shown = displayLine(joined);
  EXPECT_NE(shown.find("\\u{200D}"), std::string::npos) << "more joiners than any emoji has";
}

TEST(DisplayText, WritesOutMarksWithoutABaseAndAfterTheEighth) {
  const std::string mark = "\u0301";
  expectBoth({
      {mark + "a", "\\u{301}a", "at the start"},
      {"a " + mark, "a \\u{301}", "on a blank"},
      {"\u202E" + mark, "\\u{202E}\\u{301}", "on what is written out"},
      {"a" + repeated(mark, 8) + "b", "a" + repeated(mark, 8) + "b", "eight"},
      {"a" + repeated(mark, 6000), "a" + repeated(mark, 8) + "\\u{301*5992}", "6000"},
      {"a\u1161", "a\\u{1161}", "a vowel of Hangul without a consonant"},
      {"\u1100" + repeated("\u1161", 9), "\u1100" + repeated("\u1161", 8) + "\\u{1161}", "Jamo"},
  });
}

TEST(DisplayText, TellsALiteralEscapeFromARealOne) {
  expectBoth({
      {"\\u{202E}", "\\u{5C}u{202E}", "the form of a character"},
      {"\\x{FF}", "\\u{5C}x{FF}", "the form of a byte"},
      {"\\\\u{", "\\\\u{5C}u{", "two backslashes"},
      {"\uFF3Cu{202E}", "\\u{FF3C}u{202E}", "a backslash of full width"},
      {"\\\u202E", "\\\\u{202E}", "a backslash before a real one"},
      {"\\\u0443{202E}", "\\u{5C}\u0443{202E}", "a Cyrillic letter that looks like a Latin one"},
      {"\xFF\xFF\xC0\xAF\xED\xA0\x80", "\\x{FF*2}\\x{C0}\\x{AF}\\x{ED}\\x{A0}\\x{80}", "no UTF-8"},
      {"\xE2\x80", "\\x{E2}\\x{80}", "cut UTF-8"},
  });
}

TEST(DisplayText, CountsBlanksInALine) {
  const std::vector<Case> cases = {
      {"a   b", "a   b", "three"},
      {"a" + std::string(255, ' ') + "; rm -rf ~", "a   \\u{20*252}; rm -rf ~", "more"},
      {"    a", "   \\u{20}a", "before it"},
      {"a ", "a\\u{20}", "at its end"},
      {"  ", "\\u{20*2}", "nothing else"},
      {"a\tb\nc\r\n", "a\\u{09}b\\u{0A}c\\u{0D}\\u{0A}", "tabs and line breaks"},
  };
  for (const Case& row : cases)
    EXPECT_EQ(displayLine(row.text), row.shown) << row.reason;
}

TEST(DisplayText, KeepsTheShapeOfABlock) {
  const std::vector<Case> cases = {
      {"cat <<EOF\n\tone\n\n  two\\n\nEOF\n", "cat <<EOF\n\tone\n\n  two\\n\nEOF\n", "a document"},
      {std::string(40, ' ') + "a", std::string(40, ' ') + "a", "indented by 40"},
      {std::string(43, ' ') + "a", std::string(40, ' ') + "\\u{20*3}a", "by more"},
      {"\t\t\t\t\ta", "\t\t\t\t\ta", "tabs up to column 40"},
      {"\t\t\t\t\t\ta", "\t\t\t\t\t\\u{09}a", "a tab beyond it"},
      {std::string(39, ' ') + "\t a", std::string(39, ' ') + "\t\\u{20}a", "a tab to column 40"},
      {"a" + std::string(8, ' ') + "b", "a" + std::string(8, ' ') + "b", "eight inside"},
      {"a" + std::string(9, ' ') + "b", "a" + std::string(8, ' ') + "\\u{20}b", "nine"},
      {"a\t\tb", "a\t\tb", "tabs inside"},
      {"a  \nb \t\n", "a\\u{20*2}\nb\\u{20}\\u{09}\n", "at a line's end"},
      {"a\r\nb", "a\\u{0D}\nb", "a carriage return"},
      {"a\n\u0301b", "a\n\\u{301}b", "a mark at a line's start"},
  };
  for (const Case& row : cases)
    EXPECT_EQ(displayBlock(row.text), row.shown) << row.reason;
}

TEST(DisplayText, WritesJSONThatMeansTheSame) {
  const std::vector<Case> cases = {
      {"{\"a\": \"b\u202Ec\"}\n", "{\"a\": \"b\\u202Ec\"}\n", "an override"},
      {"[\"\U000E0041\u200D\u00A0\x7F\"]", "[\"\\uDB40\\uDC41\\u200D\\u00A0\\u007F\"]", "hidden"},
      {"[\"Grüße \\u0007 \U0001F600\"]", "[\"Grüße \\u0007 \U0001F600\"]", "what can be seen"},
      {"[\"\x9B\"]", "[\"\\uFFFD\"]", "no UTF-8"},
  };
  for (const Case& row : cases)
    EXPECT_EQ(displayJSON(row.text), row.shown) << row.reason;
}

}  // namespace
}  // namespace idlewyn::platform
