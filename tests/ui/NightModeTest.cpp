// SPDX-License-Identifier: MIT
#include <IdlewynKit/UI.hpp>

#include "tests/platform/view/ViewSupport.hpp"

namespace idlewyn {
namespace {

using platform::at, platform::distance, platform::operations, platform::spoken, platform::still;

constexpr std::uint32_t white = 0xFFFFFFFF, red = 0xFFFF4738;

/// Of one colour, which makes layers visible as pixels.
View square(const Color& color = Color::white()) { return Text("").frame(4, 4).background(color); }

TEST(NightMode, GreyThenContrastThenRed) {
  const std::tuple<const char*, Color, std::uint32_t, std::uint32_t> rows[] = {
      {"the night red itself", Color::white(), white, red},
      {"contrast turns about mid-grey", Color(0.5, 0.5, 0.5), 0xFF808080, 0xFF80241C},
      {"any other order of the layers gives another red", Color(108 / 255.0, 184 / 255.0, 1),
       0xFF6CB8FF, 0xFFBB3429},
      {"translucent stays translucent", Color(1, 1, 1, 0.5), 0x80808080, 0x8080241C},
      {"clamped at black", Color::black(), 0xFF000000, 0xFF000000},
  };
  for (const auto& [why, color, day, night] : rows) {
    const auto pixel = [](const View& view) { return at(paintImage(still(view), 1), 2, 2); };
    EXPECT_LE(distance(pixel(nightMode(square(color), false)), day), 1) << why;
    EXPECT_LE(distance(pixel(nightMode(square(color), true)), night), 1) << why;
    EXPECT_LE(distance(pixel(NightModeModifier(true).body(square(color))), night), 1) << why;
  }
  EXPECT_NE(NightModeModifier(true), NightModeModifier(false));
}

struct Adaptive {
  View body(const Environment& environment) const {
    const bool isNight = environment.value<IsNightMode>();
    return Text(isNight ? "night" : "day").foreground(isNight ? Color::black() : Color::white());
  }
};

TEST(NightMode, TellsItsContentAndHidesWhatIsMarkedInItsPlace) {
  const View content = Column({square(), Adaptive{}, hiddenAtNight(Text("advice"))});
  const std::string day = "text day; text advice", night = "text night";
  const std::tuple<const char*, View, std::string, std::uint32_t> rows[] = {
      {"no modifier is day", content, day, white},
      {"off", nightMode(content, false), day, white},
      {"on", nightMode(content, true), night, red},
      {"an inner off in an outer on", nightMode(nightMode(content, false), true), day, red},
      {"an inner on in an outer off", nightMode(nightMode(content, true), false), night, red},
      {"the value without the filter", content.environment<IsNightMode>(true), night, white},
  };
  for (const auto& [why, view, expected, color] : rows) {
    const Frame frame = still(view);
    EXPECT_EQ(spoken(frame), expected) << why;
    EXPECT_EQ(frame.size.height, still(content).size.height) << why;
    const Image image = paintImage(frame, 1);
    EXPECT_LE(distance(at(image, image.width / 2, 2), color), 1) << why;
  }
}

TEST(NightMode, FadesInAndOutOver1200Milliseconds) {
  struct Moment {
    const char* why;
    double seconds;
    bool isOn;
    std::uint32_t filtered;
    int visible;  ///< of what is hidden at night, and the white of a text that turns black
    bool isAnimating = true;
  };
  const Moment rows[] = {
      {"the first frame is there at once", 0, false, white, 255, false},
      {"nothing jumps", 10, true, white, 255},
      {"slowly at first", 10.3, true, 0xFFFFE7E5, 222},
      {"half way at half time", 10.6, true, 0xFFFFA39C, 128},
      {"and at last", 10.9, true, 0xFFFF5F52, 33},
      {"done", 11.2, true, red, 0, false},
      {"back again", 30, false, red, 0},
      {"the same way back", 30.6, false, 0xFFFFA39C, 128},
      {"a third time", 40, true, white, 255},
      {"turned round in the middle goes on from there", 40.6, false, 0xFFFFA39C, 128},
      {"to the start", 41.9, false, white, 255, false},
  };
  const View view = Row({square(), hiddenAtNight(square()), Adaptive{}}, VerticalAlignment::top, 0);
  platform::Player player;
  for (const Moment& row : rows) {
    const Frame frame = player.show(nightMode(view, row.isOn), row.seconds);
    const Image image = paintImage(frame, 1);
    EXPECT_LE(distance(at(image, 2, 2), row.filtered), 1) << row.why;
    EXPECT_NEAR(at(image, 6, 2) >> 24, row.visible, 1) << row.why;
    const auto text = operations<platform::TextOperation>(frame).back();
    EXPECT_NEAR(std::get<RGBA>(text.paint).red * 255, row.visible, 1) << row.why;
    EXPECT_EQ(frame.isAnimating, row.isAnimating) << row.why;
  }
}

}  // namespace
}  // namespace idlewyn
