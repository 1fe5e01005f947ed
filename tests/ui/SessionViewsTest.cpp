// SPDX-License-Identifier: MIT
#include <limits>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

#include "tests/platform/view/ViewSupport.hpp"
#include "tests/support/Sessions.hpp"

namespace idlewyn {
namespace {

using platform::after, platform::english, platform::now, platform::operations, platform::spoken,
    platform::still;
using platform::CapsuleOperation, platform::SymbolOperation, platform::TextOperation;

constexpr Appearance bothAppearances[] = {Appearance::light, Appearance::dark};

template <class Operation>
RGBA colorOf(const Frame& frame) {
  return std::get<RGBA>(operations<Operation>(frame).at(0).paint);
}

TEST(StatusIndicator, SymbolTintSizeAndName) {
  for (const SessionStatus status : allCases<SessionStatus>()) {
    for (const Appearance appearance : bothAppearances) {
      const Frame frame =
          still(StatusIndicator(status, StatusIconSize::large), english(appearance));
      const auto symbol = operations<SymbolOperation>(frame).at(0).symbol;
      EXPECT_EQ(symbol, platform::symbolNamed(symbolName(status)));
      EXPECT_NE(symbol, platform::SymbolName::placeholder);
      EXPECT_EQ(colorOf<SymbolOperation>(frame), tint(status).resolved(appearance));
      EXPECT_EQ(spoken(frame), "image " + std::string(label(status)));
    }
  }
  const auto widthOf = [](double size, double textScale) {
    const View view = StatusIndicator(SessionStatus::idle, size);
    return still(view.environment(&Environment::textScale, textScale)).size.width;
  };
  EXPECT_DOUBLE_EQ(widthOf(28, 1), 2 * widthOf(14, 1));
  EXPECT_EQ(widthOf(14, 2), widthOf(14, 1)) << "a fixed size does not follow the text size";
  EXPECT_EQ(spoken(still(StatusIndicator(SessionStatus{77}, 20))), "image Idle");
  EXPECT_EQ(still(ProviderBadge(AgentProvider{9}, true)).elements.size(), 1U);
}

TEST(StatusIndicator, PulsesOnceWhenTheStatusChanges) {
  using enum SessionStatus;
  const std::tuple<const char*, double, StatusIndicator, bool> rows[] = {
      {"never at first", 0, {working, 14}, false},
      {"nothing changed", 1, {working, 14}, false},
      {"the size is not the status", 2, {working, 20}, false},
      {"changed", 3, {waitingForInput, 20}, true},
      {"in the middle", 3.5, {waitingForInput, 20}, true},
      {"once", 5, {waitingForInput, 20}, false},
      {"not again", 6, {waitingForInput, 20}, false},
      {"back is a change too", 7, {working, 20}, true},
  };
  platform::Player player;
  for (const auto& [why, seconds, indicator, isAnimating] : rows) {
    const Frame frame = player.show(indicator, seconds);
    EXPECT_EQ(frame.isAnimating, isAnimating) << why;
    EXPECT_NEAR(colorOf<SymbolOperation>(frame).alpha, seconds == 3.5 ? 0.35 : 1, 1e-6) << why;
    EXPECT_EQ(frame.elements.size(), 1U) << "heard at any time";
  }
}

TEST(ProviderBadge, NamesTheAgentInACapsule) {
  const std::tuple<AgentProvider, bool, std::string> rows[] = {
      {AgentProvider::claude, false, "Claude Code"},
      {AgentProvider::claude, true, "Claude"},
      {AgentProvider::codex, false, "Codex"},
      {AgentProvider::codex, true, "Codex"},
  };
  for (const auto& [provider, compact, title] : rows) {
    for (const Appearance appearance : bothAppearances) {
      const Frame frame = still(ProviderBadge(provider, compact), english(appearance));
      EXPECT_EQ(spoken(frame), "text " + title);
      const View content = platform::Label(title, symbolName(provider));
      const Size size = still(content.font(Typography::metaSmallStrong)).size;
      const auto capsule = operations<CapsuleOperation>(frame).at(0);
      EXPECT_TRUE(capsule.isContinuous);
      EXPECT_EQ(capsule.rect, (platform::Rect{{0, 0}, {size.width + 16, size.height + 4}}));
      RGBA color = Palette::providerBadge.resolved(appearance);
      EXPECT_EQ(colorOf<TextOperation>(frame), color);
      EXPECT_EQ(colorOf<SymbolOperation>(frame), color);
      color.alpha = 0.15;
      EXPECT_EQ(std::get<RGBA>(capsule.paint), color);
    }
  }
}

TEST(TaskProgressView, BarTextAndSentence) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const std::tuple<std::int64_t, std::int64_t, double> rows[] = {
      {2, 4, 16}, {5, 4, 32}, {3, 0, 0}, {0, 4, 0}, {-1, 4, 0}, {most, most, 32}, {least, least, 0},
  };
  for (const auto& [done, total, filled] : rows) {
    const std::string first = std::to_string(done), last = std::to_string(total);
    SCOPED_TRACE(first + "/" + last);
    const TaskProgressView view(done, total, Palette::Status::finished);
    const double text = still(Text(first + "/" + last).font(Typography::numberSmall)).size.width;
    for (const Appearance appearance : bothAppearances) {
      const RGBA color = Palette::Status::finished.resolved(appearance);
      const Frame frame = still(view, english(appearance));
      EXPECT_EQ(spoken(frame), "group " + first + " of " + last + " tasks done");
      EXPECT_DOUBLE_EQ(frame.size.width, 32 + 4 + text);
      EXPECT_EQ(colorOf<TextOperation>(frame), color);
      const auto bar = operations<CapsuleOperation>(frame);
      EXPECT_EQ(bar.size(), filled > 0 ? 2U : 1U) << "the track, and what is filled of it";
      if (filled == 0) continue;
      EXPECT_DOUBLE_EQ(bar[1].rect.size.width, filled);
      EXPECT_EQ(std::get<RGBA>(bar[1].paint), color);
    }
    for (const double width : {0.0, 20.0, 40.0, 1000.0}) {
      const Frame frame = still(view, english(), {.width = width});
      EXPECT_EQ(operations<CapsuleOperation>(frame).at(0).rect.size.width, 32);
    }
  }
}

const Date updated = after(-8040);

TEST(ElapsedLabel, OfASessionTimesTheTurnOnlyWhileItWorks) {
  for (const SessionStatus status : allCases<SessionStatus>()) {
    for (const auto turn : {std::optional(after(-247)), std::optional<Date>()}) {
      AgentSession session = idlewyn::testing::makeSession("id", status);
      session.updatedAt = updated;
      session.turnStartedAt = turn;
      EXPECT_EQ(spoken(still(ElapsedLabel(session))),
                turn && status == SessionStatus::working ? "text 4:07" : "text 2 hr, 14 min")
          << label(status);
    }
  }
}

TEST(ElapsedLabel, AnyDates) {
  using Limits = std::numeric_limits<double>;
  const Date beyond = platform::distantFuture + DateClock::duration(1);
  const std::tuple<const char*, ElapsedLabel, const char*> rows[] = {
      {"hours from the first one on", {after(-3847), updated}, "text 1:04:07"},
      {"without a turn", ElapsedLabel(updated), "text 2 hr, 14 min"},
      {"a clock that is behind the relay's", {after(60), updated}, "text 0:00"},
      {"the last start there is", {platform::distantFuture, updated}, "text 0:00"},
      {"a start beyond", {beyond, updated}, "text 2 hr, 14 min"},
      {"no date at all", {after(Limits::quiet_NaN()), updated}, "text 2 hr, 14 min"},
  };
  for (const auto& [why, elapsed, text] : rows)
    EXPECT_EQ(spoken(still(elapsed)), text) << why;
  EXPECT_NE(spoken(still(ElapsedLabel(after(-Limits::infinity()), updated))), "");
}

TEST(ElapsedLabel, LooksLikeItsSurroundingsWithDigitsOfOneWidth) {
  const auto shown = [](double seconds, const Font& font) {
    return still(View(ElapsedLabel(after(-seconds), now)).font(font));
  };
  const Frame small = shown(11 * 60 + 11, Typography::body);
  EXPECT_EQ(small.size, shown(20 * 60, Typography::body).size);
  EXPECT_GT(shown(5, Typography::count).size.height, small.size.height * 1.5);
}

// The glyphs of a text in their order.
std::vector<unsigned long> glyphs(const platform::internal::ShapedText& text) {
  std::vector<unsigned long> indices;
  for (const auto& run : text.runs()) {
    for (const cairo_glyph_t& glyph : run.glyphs)
      indices.push_back(glyph.index);
  }
  return indices;
}

TEST(ActivityLine, LosesItsMiddleOnOneLineWhateverItsStyleIconAndSize) {
  const std::string text = "Read: Sources/Auth/Middleware.swift";
  for (const bool showsIcon : {false, true}) {
    for (const bool compact : {false, true}) {
      const ShapeStyle style = compact ? ShapeStyle(Palette::sky) : Palette::Status::failed;
      const ActivityLine line(text, style, showsIcon, compact);
      const Frame whole = still(line), narrow = still(line, english(), {.width = 150});
      const auto texts = operations<TextOperation>(whole);
      ASSERT_EQ(texts.size(), 1U);
      EXPECT_EQ(std::holds_alternative<platform::GradientPaint>(texts[0].paint), compact);
      const Font font = Font::system(compact ? TextStyle::caption2 : TextStyle::caption);
      EXPECT_EQ(platform::internal::metricsOf(*texts[0].text).size,
                still(Text(text).font(font.weight(FontWeight::regular).monospaced())).size);
      const auto symbols = operations<SymbolOperation>(whole);
      EXPECT_EQ(symbols.size(), showsIcon ? 1U : 0U);
      EXPECT_TRUE(!showsIcon || symbols.at(0).symbol == platform::SymbolName::terminal);

      EXPECT_LE(narrow.size.width, 150);
      EXPECT_EQ(narrow.size.height, whole.size.height);
      EXPECT_EQ(spoken(narrow), "text " + text) << "read out whole, without the icon";
      const auto all = glyphs(*texts[0].text);
      const auto left = glyphs(*operations<TextOperation>(narrow).at(0).text);
      ASSERT_EQ(all.size(), text.size());
      ASSERT_GT(left.size(), 12U);
      ASSERT_LT(left.size(), all.size());
      EXPECT_TRUE(std::equal(left.begin(), left.begin() + 5, all.begin()));
      EXPECT_TRUE(std::equal(left.rbegin(), left.rbegin() + 5, all.rbegin()));
    }
  }
  EXPECT_LT(still(ActivityLine("Bash", Color::black(), true, true)).size.height,
            still(ActivityLine("Bash", Color::black(), true, false)).size.height);
}

}  // namespace
}  // namespace idlewyn
