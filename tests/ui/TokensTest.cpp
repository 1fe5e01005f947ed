// SPDX-License-Identifier: MIT
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>

namespace idlewyn {
namespace {

template <class... T>
constexpr bool haveNoInstances = (!std::is_default_constructible_v<T> && ...);
static_assert(haveNoInstances<Spacing, Radius, StatusIconSize, Layout, Palette, Palette::Status,
                              Palette::OnDark, Palette::Tint, Typography>);

// 0xRRGGBB
RGBA sRGB(std::uint32_t hex, double alpha) {
  return {(hex >> 16) / 255.0, (hex >> 8 & 0xFF) / 255.0, (hex & 0xFF) / 255.0, alpha};
}

TEST(Palette, ColoursInBothAppearances) {
  struct Row {
    std::string_view name;
    Color color;
    std::uint32_t light, dark;
    double alpha = 1;
  };
  using P = Palette;
  const std::vector<Row> rows{
      {"ink", P::ink, 0x1B2A5E, 0x1B2A5E},
      {"inkDeep", P::inkDeep, 0x070B1C, 0x070B1C},
      {"moon", P::moon, 0xFFF6DC, 0xFFF6DC},
      {"skyGlow", P::skyGlow, 0x1B2A5E, 0x1B2A5E, 0.9},
      {"liveActivityBackground", P::liveActivityBackground, 0x070B1C, 0x070B1C, 0.85},
      {"onStatusFill", P::onStatusFill, 0xF6F2E9, 0x070B1C},
      {"providerBadge", P::providerBadge, 0x4A4E63, 0xC9C6D6},
      {"Status.working", P::Status::working, 0x0062CC, 0x6CB8FF},
      {"Status.waiting", P::Status::waiting, 0xB84A00, 0xFFA630},
      {"Status.finished", P::Status::finished, 0x1A7F37, 0x3DD66B},
      {"Status.failed", P::Status::failed, 0xC62828, 0xFF7B72},
      {"Status.idle", P::Status::idle, 0x636366, 0xA1A1A6},
      {"OnDark.primary", P::OnDark::primary, 0xF6F2E9, 0xF6F2E9},
      {"OnDark.secondary", P::OnDark::secondary, 0xF6F2E9, 0xF6F2E9, 0.72},
      {"OnDark.tertiary", P::OnDark::tertiary, 0xF6F2E9, 0xF6F2E9, 0.58},
      {"OnDark.card", P::OnDark::card, 0x070B1C, 0x070B1C, 0.6},
      {"OnDark.cardRaised", P::OnDark::cardRaised, 0x1B2A5E, 0x1B2A5E, 0.95},
      {"tint(claude)", tint(AgentProvider::claude), 0x4A4E63, 0xC9C6D6},
      {"tint(codex)", tint(AgentProvider::codex), 0x4A4E63, 0xC9C6D6},
      {"tint(working)", tint(SessionStatus::working), 0x0062CC, 0x6CB8FF},
      {"tint(waitingForInput)", tint(SessionStatus::waitingForInput), 0xB84A00, 0xFFA630},
      {"tint(finished)", tint(SessionStatus::finished), 0x1A7F37, 0x3DD66B},
      {"tint(failed)", tint(SessionStatus::failed), 0xC62828, 0xFF7B72},
      {"tint(idle)", tint(SessionStatus::idle), 0x636366, 0xA1A1A6},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.color.resolved(Appearance::light), sRGB(row.light, row.alpha)) << row.name;
    EXPECT_EQ(row.color.resolved(Appearance::dark), sRGB(row.dark, row.alpha)) << row.name;
  }
  // Not multiples of 1/255.
  EXPECT_EQ(P::nightRed, Color(1, 0.28, 0.22));
  EXPECT_EQ(P::sky, platform::LinearGradient(P::ink, P::inkDeep, {0.5, 0}, {0.5, 1}));
}

TEST(Typography, EveryFont) {
  struct Row {
    std::string_view name;
    Font font;
    double size;
    FontWeight weight;
    FontDesign design;
    bool digits, follows = true;
  };
  using T = Typography;
  using enum FontWeight;
  constexpr auto round = FontDesign::rounded, plain = FontDesign::standard,
                 mono = FontDesign::monospaced;
  const std::vector<Row> rows{
      {"display", T::display, 88, thin, round, true, false},
      {"bigCount", T::bigCount, 44, bold, round, true, false},
      {"count", T::count, 26, bold, round, true},
      {"countLabel", T::countLabel, 15, semibold, round, false},
      {"title", T::title, 15, semibold, round, false},
      {"screenTitle", T::screenTitle, 15, bold, round, false},
      {"headline", T::headline, 13, bold, round, false},
      {"heroGlyph", T::heroGlyph, 26, regular, plain, false},
      {"body", T::body, 13, regular, plain, false},
      {"rowTitle", T::rowTitle, 13, medium, plain, false},
      {"rowTitleCompact", T::rowTitleCompact, 11, medium, plain, false},
      {"supporting", T::supporting, 12, regular, plain, false},
      {"meta", T::meta, 10, regular, plain, false},
      {"metaStrong", T::metaStrong, 10, semibold, plain, false},
      {"metaSmall", T::metaSmall, 9, regular, plain, false},
      {"metaSmallStrong", T::metaSmallStrong, 9, semibold, plain, false},
      {"mono", T::mono, 10, regular, mono, false},
      {"monoBody", T::monoBody, 13, regular, mono, false},
      {"number", T::number, 10, semibold, plain, true},
      {"numberSmall", T::numberSmall, 9, semibold, plain, true},
      {"numberLarge", T::numberLarge, 13, bold, round, true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.font.size(), row.size) << row.name;
    EXPECT_EQ(row.font.weight(), row.weight) << row.name;
    EXPECT_EQ(row.font.design(), row.design) << row.name;
    EXPECT_EQ(row.font.hasMonospacedDigits(), row.digits) << row.name;
    EXPECT_EQ(row.font.followsTextScale(), row.follows) << row.name;
  }
  EXPECT_EQ(T::countLabel, T::title);
  EXPECT_NE(T::title, T::screenTitle);
}

TEST(Lengths, AndOpacities) {
  struct Row {
    std::string_view name;
    double token, value;
  };
  const std::vector<Row> rows{
      {"Spacing.hairline", Spacing::hairline, 2},
      {"Spacing.xs", Spacing::xs, 4},
      {"Spacing.s", Spacing::s, 8},
      {"Spacing.m", Spacing::m, 12},
      {"Spacing.l", Spacing::l, 16},
      {"Spacing.xl", Spacing::xl, 24},
      {"Radius.small", Radius::small, 8},
      {"Radius.card", Radius::card, 16},
      {"Radius.panel", Radius::panel, 24},
      {"StatusIconSize.small", StatusIconSize::small, 14},
      {"StatusIconSize.medium", StatusIconSize::medium, 20},
      {"StatusIconSize.large", StatusIconSize::large, 28},
      {"Layout.iconColumn", Layout::iconColumn, 28},
      {"Layout.timerColumn", Layout::timerColumn, 64},
      {"Layout.dashboardCardMinWidth", Layout::dashboardCardMinWidth, 220},
      {"Layout.dashboardCardMinHeight", Layout::dashboardCardMinHeight, 150},
      {"Layout.progressBarWidth", Layout::progressBarWidth, 32},
      {"Layout.outputPanelHeight", Layout::outputPanelHeight, 140},
      {"Tint.fill", Palette::Tint::fill, 0.15},
      {"Tint.hover", Palette::Tint::hover, 0.15},
      {"Tint.border", Palette::Tint::border, 0.2},
      {"Tint.strongFill", Palette::Tint::strongFill, 0.22},
      {"Tint.pressed", Palette::Tint::pressed, 0.28},
      {"Tint.strongBorder", Palette::Tint::strongBorder, 0.7},
      {"disabledOpacity", Palette::disabledOpacity, 0.55},
  };
  for (const Row& row : rows)
    EXPECT_EQ(row.token, row.value) << row.name;
}

}  // namespace
}  // namespace idlewyn
