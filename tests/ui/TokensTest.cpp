// SPDX-License-Identifier: MIT
#include <cstdint>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>

namespace idlewyn {
namespace {

// 0xRRGGBB
RGBA sRGB(std::uint32_t hex, double alpha) {
  return {(hex >> 16) / 255.0, (hex >> 8 & 0xFF) / 255.0, (hex & 0xFF) / 255.0, alpha};
}

TEST(Palette, ColoursInBothAppearances) {
  struct Row {
    const char* name;
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
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.color.resolved(Appearance::light), sRGB(row.light, row.alpha)) << row.name;
    EXPECT_EQ(row.color.resolved(Appearance::dark), sRGB(row.dark, row.alpha)) << row.name;
  }
  using S = P::Status;
  for (const auto& [status, color] :
       {std::pair(SessionStatus::working, S::working),
        std::pair(SessionStatus::waitingForInput, S::waiting),
        std::pair(SessionStatus::finished, S::finished),
        std::pair(SessionStatus::failed, S::failed), std::pair(SessionStatus::idle, S::idle)})
    EXPECT_EQ(tint(status), color) << label(status);
  for (const AgentProvider provider : allCases<AgentProvider>())
    EXPECT_EQ(tint(provider), P::providerBadge);
  // Not multiples of 1/255.
  EXPECT_EQ(P::nightRed, Color(1, 0.28, 0.22));
  EXPECT_EQ(P::sky, platform::LinearGradient(P::ink, P::inkDeep, {0.5, 0}, {0.5, 1}));
}

TEST(Typography, EveryFont) {
  using T = Typography;
  using enum FontWeight;
  constexpr auto round = FontDesign::rounded, plain = FontDesign::standard,
                 mono = FontDesign::monospaced;
  using Row = std::tuple<const char*, Font, double, FontWeight, FontDesign, bool>;
  const Row rows[] = {
      {"display", T::display, 88, thin, round, true},
      {"bigCount", T::bigCount, 44, bold, round, true},
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
  for (const auto& [name, font, size, weight, design, digits] : rows) {
    EXPECT_EQ(font.size(), size) << name;
    EXPECT_EQ(font.weight(), weight) << name;
    EXPECT_EQ(font.design(), design) << name;
    EXPECT_EQ(font.hasMonospacedDigits(), digits) << name;
    EXPECT_EQ(font.followsTextScale(), size < 44) << name;
  }
  EXPECT_EQ(T::countLabel, T::title);
  EXPECT_NE(T::title, T::screenTitle);
}

TEST(Lengths, AndOpacities) {
  using Tokens = std::vector<double>;
  using S = Spacing;
  EXPECT_EQ((Tokens{S::hairline, S::xs, S::s, S::m, S::l, S::xl}), (Tokens{2, 4, 8, 12, 16, 24}));
  EXPECT_EQ((Tokens{Radius::small, Radius::card, Radius::panel}), (Tokens{8, 16, 24}));
  using I = StatusIconSize;
  EXPECT_EQ((Tokens{I::small, I::medium, I::large}), (Tokens{14, 20, 28}));
  using L = Layout;
  EXPECT_EQ((Tokens{L::iconColumn, L::timerColumn, L::progressBarWidth, L::outputPanelHeight}),
            (Tokens{28, 64, 32, 140}));
  EXPECT_EQ((Tokens{L::dashboardCardMinWidth, L::dashboardCardMinHeight}), (Tokens{220, 150}));
  using T = Palette::Tint;
  EXPECT_EQ((Tokens{T::fill, T::hover, T::border, T::strongFill, T::pressed, T::strongBorder}),
            (Tokens{0.15, 0.15, 0.2, 0.22, 0.28, 0.7}));
  EXPECT_EQ(Palette::disabledOpacity, 0.55);
}

}  // namespace
}  // namespace idlewyn
