// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/Table.hpp>

#include <cmath>

#include <gtest/gtest.h>

#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>
#include <tools/idlewyn/terminal/Screen.hpp>

namespace idlewyn::command {
namespace {

Style terminal(std::optional<std::size_t> width, bool isColoured) {
  Style style;
  style.width = width;
  style.isColoured = isColoured;
  return style;
}

TEST(Table, AlignsByWhatIsSeen) {
  Table table({"A", "B", "C"});
  table.add({Cell("日本"), Cell("x"), Cell("one")});
  table.add({Cell("e\xcc\x81"), Cell("yy"), Cell("")});
  EXPECT_EQ(table.text(terminal(std::nullopt, false)),
            "A     B   C\n"
            "日本  x   one\n"
            "e\xcc\x81     yy");
}

TEST(Table, EscapesEveryCellAndColoursDoNotShiftColumns) {
  Table table({"A", "B"});
  table.add({Cell("x\n", Tone::bad), Cell("\x1b[31mred")});
  EXPECT_EQ(table.text(terminal(std::nullopt, true)),
            "\x1b[2mA\x1b[0m        \x1b[2mB\x1b[0m\n\x1b[31mx\\u{0A}\x1b[0m  \\u{1B}[31mred");
}

TEST(Table, CutsOnlyTheLastColumnAndOnlyOnATerminal) {
  Table table({"A", "B"});
  table.add({Cell("longer than all"), Cell("abcdefghijkl")});
  EXPECT_NE(table.text(terminal(27, false)).find("longer than all  abcdefghi…"), std::string::npos);
  EXPECT_NE(table.text(terminal(5, false)).find("longer than all  abcdefg…"), std::string::npos);
  EXPECT_NE(table.text(terminal(std::nullopt, false)).find("abcdefghijkl"), std::string::npos);
  EXPECT_EQ(cutToWidth("日本語", 5), "日本…");
  EXPECT_EQ(cutToWidth("日本語", 4), "日…");
  EXPECT_EQ(cutToWidth("日本語", 6), "日本語");
  EXPECT_EQ(cutToWidth("e\xcc\x81xy", 2), "e\xcc\x81…") << "a mark stays with its letter";
  std::string marked = "e";
  for (int i = 0; i < 1000; ++i)
    marked += "\xcc\x81";
  EXPECT_LT(cutToWidth(marked, 5).size(), 30u) << "one column, yet 2 kB";
}

TEST(Table, GivesWayUntilARowFits) {
  Table table({"AGENT", "PROJECT", "TITLE", "N", "NOW"}, Narrowing({2, 1}, {3, 1}));
  table.add({Cell("Claude"), Cell(std::string(30, 'p')), Cell(std::string(1 << 20, 't')),
             Cell("1/2"), Cell(std::string(90, 'n'))});
  const std::string whole = table.text(terminal(std::nullopt, false));
  EXPECT_LT(whole.size(), 500u) << "every row would be as wide as the longest";
  EXPECT_NE(whole.find(std::string(90, 'n')), std::string::npos) << "nothing follows the last";
  const std::vector<std::pair<std::size_t, std::string>> rows{{150, "AGENT   PROJECT"},
                                                              {42, "AGENT   PROJECT"},
                                                              {40, "AGENT   PROJECT"},
                                                              {30, "AGENT   TITLE"}};
  for (const auto& [width, heading] : rows) {
    const std::string text = table.text(terminal(width, false));
    EXPECT_TRUE(text.starts_with(heading)) << text;
    EXPECT_EQ(displayWidth(text.substr(text.find('\n') + 1)), width) << text;
    EXPECT_EQ(text.find("1/2") == std::string::npos, width < 42) << text;
  }
}

TEST(Screen, BreaksTextIntoRowsThatFitWithoutLosingAnything) {
  using Rows = std::vector<std::string>;
  const std::tuple<std::string, std::size_t, Rows, const char*> table[] = {
      {"", 10, {""}, "an empty line is a row"},
      {"a\n\nb", 10, {"a", "", "b"}, "so is one in the midst"},
      {"abcdef", 3, {"abc", "def"}, "just full rows have no empty one behind"},
      {"abcd", 3, {"abc", "d"}, "the rest goes on below"},
      {"日本語", 5, {"日本", "語"}, "wide characters are not cut in half"},
      {"日本", 1, {"日", "本"}, "narrower than one character: nothing is dropped, nothing hangs"},
      {"\x1b[31mabc\x1b[0mdef", 3, {"\x1b[31mabc\x1b[0m", "def"}, "colours take no room"},
      {"\x1b[31", 2, {"\x1b[", "31"}, "what is no code is text"},
      {"abc", 0, {"a", "b", "c"}, "a terminal of no width"},
  };
  for (const auto& [text, columns, rows, reason] : table)
    EXPECT_EQ(rowsOf(text, columns), rows) << reason;
  EXPECT_EQ(widthOfRow("\x1b[1;33mab日\x1b[0m"), 4u);
}

TEST(Output, IsColouredOnTerminalsThatWantIt) {
  EXPECT_TRUE(usesColour(true, nullptr, "xterm-256color"));
  EXPECT_TRUE(usesColour(true, "", "xterm")) << "an empty NO_COLOR is not set";
  EXPECT_FALSE(usesColour(true, "1", "xterm"));
  EXPECT_FALSE(usesColour(true, nullptr, "dumb"));
  EXPECT_FALSE(usesColour(true, nullptr, nullptr));
  EXPECT_FALSE(usesColour(false, nullptr, "xterm"));
}

TEST(SessionReport, WritesTimesThatPeopleRead) {
  EXPECT_EQ(elapsedText(42.9), "0:42");
  EXPECT_EQ(elapsedText(725), "12:05");
  EXPECT_EQ(elapsedText(3723), "1:02:03");
  EXPECT_EQ(elapsedText(-5), "0:00") << "clocks differ";
  EXPECT_EQ(elapsedText(std::nan("")), "0:00");
  EXPECT_EQ(elapsedText(1e300), elapsedText(1e12)) << "a relay's nonsense";
}

}  // namespace
}  // namespace idlewyn::command
