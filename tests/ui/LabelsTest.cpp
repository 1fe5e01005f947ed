// SPDX-License-Identifier: MIT
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/platform/view/internal/ShapedText.hpp>

#include "Shown.hpp"

namespace idlewyn {
namespace {

using shown::after, shown::english, shown::now, shown::operations, shown::show, shown::spoken;

AgentSession session(SessionStatus status, std::optional<Date> turnStartedAt) {
  return AgentSession("id", AgentProvider::claude, "title", std::nullopt, status, after(-9000),
                      after(-8040), std::nullopt, std::nullopt, std::nullopt, turnStartedAt,
                      std::nullopt, std::nullopt);
}

TEST(ElapsedLabel, OfASessionTimesTheTurnOnlyWhileItWorks) {
  const std::string age = "2 hr, 14 min";
  struct Row {
    SessionStatus status;
    std::optional<Date> turn;
    std::string text;
  };
  using enum SessionStatus;
  const Date turn = after(-247);
  const std::vector<Row> rows{
      {working, turn, "4:07"}, {working, std::nullopt, age}, {waitingForInput, turn, age},
      {finished, turn, age},   {failed, turn, age},          {idle, turn, age},
  };
  for (const Row& row : rows) {
    const ElapsedLabel elapsed(session(row.status, row.turn));
    EXPECT_EQ(elapsed.updatedAt, after(-8040));
    EXPECT_EQ(spoken(show(elapsed)), std::vector{row.text}) << label(row.status);
  }
}

TEST(ElapsedLabel, AnyDates) {
  const Date updated = after(-8040);
  constexpr double infinity = std::numeric_limits<double>::infinity();
  struct Row {
    ElapsedLabel elapsed;
    const char* text;
    const char* why;
  };
  const std::vector<Row> rows{
      {ElapsedLabel(after(-3847), updated), "1:04:07", "hours from the first one on"},
      {ElapsedLabel(updated), "2 hr, 14 min", "without a turn"},
      {ElapsedLabel(after(60), updated), "0:00", "a clock that is behind the relay's"},
      {ElapsedLabel(platform::distantFuture, updated), "0:00", "the last start there is"},
      {ElapsedLabel(platform::distantFuture + DateClock::duration(1), updated), "2 hr, 14 min",
       "a start beyond"},
      {ElapsedLabel(after(std::numeric_limits<double>::quiet_NaN()), updated), "2 hr, 14 min",
       "no date at all"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(spoken(show(row.elapsed)), std::vector<std::string>{row.text}) << row.why;
  EXPECT_FALSE(show(ElapsedLabel(after(-infinity), updated)).elements.empty());
}

TEST(ElapsedLabel, LooksLikeItsSurroundingsWithDigitsOfOneWidth) {
  const auto width = [](double seconds) {
    return show(View(ElapsedLabel(after(-seconds), now)).font(Typography::body)).size.width;
  };
  EXPECT_EQ(width(11 * 60 + 11), width(20 * 60));
  const View big = View(ElapsedLabel(after(-5), now)).font(Typography::count);
  EXPECT_GT(show(big).size.height, show(ElapsedLabel(after(-5), now)).size.height * 1.5);
  EXPECT_EQ(show(ElapsedLabel(after(-4.25), now)).nextChange, after(0.75));
}

// The glyphs of the one text of a frame, in their order.
std::vector<unsigned long> glyphs(const Frame& frame) {
  std::vector<unsigned long> indices;
  for (const auto& text : operations<platform::TextOperation>(frame)) {
    for (const auto& run : text.text->runs()) {
      for (const cairo_glyph_t& glyph : run.glyphs)
        indices.push_back(glyph.index);
    }
  }
  return indices;
}

TEST(ActivityLine, LosesItsMiddleOnOneLine) {
  const std::string text = "Read: Sources/Auth/Middleware.swift";
  for (const bool showsIcon : {false, true}) {
    for (const bool compact : {false, true}) {
      const ActivityLine line(text, Color::black(), showsIcon, compact);
      const Frame whole = show(line), narrow = show(line, english(), Proposal{150, std::nullopt});
      EXPECT_LE(narrow.size.width, 150);
      EXPECT_EQ(narrow.size.height, whole.size.height);
      EXPECT_EQ(spoken(narrow), std::vector{text}) << "read out whole, without the icon";
      const auto all = glyphs(whole), left = glyphs(narrow);
      ASSERT_EQ(all.size(), text.size());
      ASSERT_GT(left.size(), 12U);
      ASSERT_LT(left.size(), all.size());
      EXPECT_TRUE(std::equal(left.begin(), left.begin() + 5, all.begin()));
      EXPECT_TRUE(std::equal(left.rbegin(), left.rbegin() + 5, all.rbegin()));
    }
  }
}

TEST(ActivityLine, StyleIconAndSize) {
  struct Row {
    ShapeStyle style;
    bool showsIcon, compact;
  };
  for (const Row& row : std::vector<Row>{{Palette::Status::failed, true, false},
                                         {Palette::Status::failed, false, true},
                                         {Palette::sky, true, true}}) {
    const Frame frame = show(ActivityLine("Bash", row.style, row.showsIcon, row.compact));
    const auto symbols = operations<platform::SymbolOperation>(frame);
    ASSERT_EQ(symbols.size(), row.showsIcon ? 1U : 0U);
    for (const auto& symbol : symbols)
      EXPECT_EQ(symbol.symbol, platform::SymbolName::terminal);
    const auto texts = operations<platform::TextOperation>(frame);
    ASSERT_EQ(texts.size(), 1U);
    const bool isGradient = std::holds_alternative<platform::GradientPaint>(texts[0].paint);
    EXPECT_EQ(isGradient, row.style == ShapeStyle(Palette::sky));
    const Font font = Font::system(row.compact ? TextStyle::caption2 : TextStyle::caption)
                          .weight(FontWeight::regular)
                          .monospaced();
    const auto expected = show(Text("Bash").font(font));
    EXPECT_EQ(platform::metricsOf(*texts[0].text).size, expected.size);
  }
  const auto height = [](bool compact) {
    return show(ActivityLine("Bash", Color::black(), true, compact)).size.height;
  };
  EXPECT_LT(height(true), height(false)) << "compact is smaller";
}

}  // namespace
}  // namespace idlewyn
