// SPDX-License-Identifier: MIT
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <IdlewynKit/platform/view/internal/TextShaping.hpp>

#include "Shown.hpp"

namespace idlewyn {
namespace {

using platform::CapsuleOperation, platform::SymbolOperation, platform::TextOperation;
using shown::after, shown::english, shown::operations, shown::show, shown::spoken;

TEST(StatusIndicator, SymbolTintSizeAndName) {
  for (const SessionStatus status : allCases<SessionStatus>()) {
    for (const Appearance appearance : {Appearance::light, Appearance::dark}) {
      const StatusIndicator indicator(status, StatusIconSize::large);
      const Frame frame = show(indicator, english(appearance));
      const auto symbols = operations<SymbolOperation>(frame);
      ASSERT_EQ(symbols.size(), 1U);
      EXPECT_EQ(symbols[0].symbol, platform::symbolNamed(symbolName(status)));
      EXPECT_NE(symbols[0].symbol, platform::SymbolName::placeholder);
      EXPECT_EQ(std::get<RGBA>(symbols[0].paint), tint(status).resolved(appearance));
      ASSERT_EQ(frame.elements.size(), 1U);
      EXPECT_EQ(frame.elements[0].label, label(status));
      EXPECT_EQ(frame.elements[0].role, AccessibleRole::image);
    }
  }
  const auto widthOf = [](double size, double textScale) {
    Environment environment = english();
    environment.textScale = textScale;
    return show(StatusIndicator(SessionStatus::idle, size), environment).size.width;
  };
  EXPECT_DOUBLE_EQ(widthOf(28, 1), 2 * widthOf(14, 1));
  EXPECT_EQ(widthOf(14, 2), widthOf(14, 1)) << "a fixed size does not follow the text size";
  EXPECT_EQ(spoken(show(StatusIndicator(SessionStatus{77}, 20))), std::vector<std::string>{"Idle"});
  EXPECT_EQ(spoken(show(ProviderBadge(AgentProvider{9}, true))).size(), 1U);
}

// How much is left of its colour.
double visibility(const Frame& frame) {
  double opacity = std::get<RGBA>(operations<SymbolOperation>(frame).at(0).paint).alpha;
  for (const auto& layer : operations<platform::LayerBegin>(frame))
    opacity *= layer.opacity;
  return opacity;
}

TEST(StatusIndicator, PulsesOnceWhenTheStatusChanges) {
  using enum SessionStatus;
  struct Row {
    double seconds;
    StatusIndicator indicator;
    bool isAnimating;
    const char* why;
  };
  const std::vector<Row> rows{
      {0, {working, 14}, false, "never at first"},
      {1, {working, 14}, false, "nothing changed"},
      {2, {working, 20}, false, "the size is not the status"},
      {3, {waitingForInput, 20}, true, "changed"},
      {3.5, {waitingForInput, 20}, true, "in the middle"},
      {5, {waitingForInput, 20}, false, "once"},
      {6, {waitingForInput, 20}, false, "not again"},
      {7, {working, 20}, true, "back is a change too"},
  };
  Host host;
  for (const Row& row : rows) {
    const Frame frame = host.frame(row.indicator, english(), Proposal(), after(row.seconds));
    EXPECT_EQ(frame.isAnimating, row.isAnimating) << row.why;
    if (row.seconds == 3.5) {
      EXPECT_LT(visibility(frame), 0.7) << row.why;
    } else {
      EXPECT_EQ(visibility(frame), 1) << row.why;
    }
    EXPECT_EQ(frame.elements.size(), 1U) << "heard at any time";
  }
}

TEST(ProviderBadge, NamesTheAgentInACapsule) {
  struct Row {
    AgentProvider provider;
    bool compact;
    std::string title;
  };
  for (const Row& row : std::vector<Row>{{AgentProvider::claude, false, "Claude Code"},
                                         {AgentProvider::claude, true, "Claude"},
                                         {AgentProvider::codex, false, "Codex"},
                                         {AgentProvider::codex, true, "Codex"}}) {
    for (const Appearance appearance : {Appearance::light, Appearance::dark}) {
      const Frame frame = show(ProviderBadge(row.provider, row.compact), english(appearance));
      EXPECT_EQ(spoken(frame), std::vector{row.title});
      const auto content = show(
          platform::Label(row.title, symbolName(row.provider)).font(Typography::metaSmallStrong));
      EXPECT_DOUBLE_EQ(frame.size.width, content.size.width + 16);
      EXPECT_DOUBLE_EQ(frame.size.height, content.size.height + 4);

      const RGBA color = Palette::providerBadge.resolved(appearance);
      const auto capsules = operations<CapsuleOperation>(frame);
      ASSERT_EQ(capsules.size(), 1U);
      EXPECT_TRUE(capsules[0].isContinuous);
      EXPECT_EQ(capsules[0].rect, (platform::Rect{{0, 0}, frame.size}));
      EXPECT_EQ(std::get<RGBA>(capsules[0].paint),
                (RGBA{color.red, color.green, color.blue, 0.15}));
      EXPECT_EQ(std::get<RGBA>(operations<TextOperation>(frame).at(0).paint), color);
      EXPECT_EQ(std::get<RGBA>(operations<SymbolOperation>(frame).at(0).paint), color);
    }
  }
}

// The bar's track and what is filled of it.
std::vector<double> barWidths(const Frame& frame) {
  std::vector<double> widths;
  for (const CapsuleOperation& capsule : operations<CapsuleOperation>(frame))
    widths.push_back(capsule.rect.size.width);
  return widths;
}

TEST(TaskProgressView, BarTextAndSentence) {
  constexpr auto least = std::numeric_limits<std::int64_t>::min();
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  struct Row {
    std::int64_t done, total;
    double filled;
    std::string text, spoken;
  };
  const std::vector<Row> rows{
      {2, 4, 16, "2/4", "2 of 4 tasks done"},
      {5, 4, 32, "5/4", "5 of 4 tasks done"},
      {3, 0, 0, "3/0", "3 of 0 tasks done"},
      {0, 4, 0, "0/4", "0 of 4 tasks done"},
      {-1, 4, 0, "-1/4", "-1 of 4 tasks done"},
      {most, most, 32, "9223372036854775807/9223372036854775807",
       "9223372036854775807 of 9223372036854775807 tasks done"},
      {least, least, 0, "-9223372036854775808/-9223372036854775808",
       "-9223372036854775808 of -9223372036854775808 tasks done"},
  };
  for (const Row& row : rows) {
    const Frame frame = show(TaskProgressView(row.done, row.total, Palette::Status::working));
    ASSERT_EQ(spoken(frame), std::vector{row.spoken});
    const auto text = show(Text(row.text).font(Typography::numberSmall));
    EXPECT_DOUBLE_EQ(frame.size.width, 32 + 4 + text.size.width) << row.text;
    const auto widths = barWidths(frame);
    ASSERT_FALSE(widths.empty());
    EXPECT_EQ(widths[0], 32) << row.text;
    EXPECT_DOUBLE_EQ(widths.size() > 1 ? widths[1] : 0, row.filled) << row.text;
  }
}

TEST(TaskProgressView, OneTintAndABarThatNeverGivesWay) {
  const TaskProgressView view(3, 4, Palette::Status::finished);
  for (const Appearance appearance : {Appearance::light, Appearance::dark}) {
    const Frame frame = show(view, english(appearance));
    const RGBA color = Palette::Status::finished.resolved(appearance);
    EXPECT_EQ(std::get<RGBA>(operations<TextOperation>(frame).at(0).paint), color);
    EXPECT_EQ(std::get<RGBA>(operations<CapsuleOperation>(frame).back().paint), color);
  }
  for (const double width : {0.0, 20.0, 40.0, 1000.0})
    EXPECT_EQ(barWidths(show(view, english(), Proposal{width, std::nullopt})).at(0), 32);
}

}  // namespace
}  // namespace idlewyn
