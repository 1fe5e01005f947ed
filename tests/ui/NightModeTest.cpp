// SPDX-License-Identifier: MIT
#include <string>
#include <vector>

#include "Shown.hpp"

namespace idlewyn {
namespace {

using shown::after, shown::english, shown::isNear, shown::now, shown::pixel, shown::show,
    shown::spoken, shown::square;

const Color sky(108 / 255.0, 184 / 255.0, 1);
constexpr std::uint32_t white = 0xFFFFFFFF, red = 0xFFFF4738;

TEST(NightMode, GreyThenContrastThenRed) {
  struct Row {
    Color color;
    std::uint32_t day, night;
    const char* why;
  };
  const std::vector<Row> rows{
      {Color::white(), white, red, "the night red itself"},
      {Color(0.5, 0.5, 0.5), 0xFF808080, 0xFF80241C, "contrast turns about mid-grey"},
      {sky, 0xFF6CB8FF, 0xFFBB3429, "any other order of the layers gives another red"},
      {Color::white().opacity(0.5), 0x80808080, 0x8080241C, "translucent stays translucent"},
      {Color::black(), 0xFF000000, 0xFF000000, "clamped at black"},
  };
  for (const Row& row : rows) {
    EXPECT_TRUE(isNear(pixel(show(nightMode(square(row.color), false))), row.day)) << row.why;
    EXPECT_TRUE(isNear(pixel(show(nightMode(square(row.color), true))), row.night)) << row.why;
    EXPECT_EQ(pixel(show(NightModeModifier(true).body(square(row.color)))),
              pixel(show(nightMode(square(row.color), true))));
  }
  EXPECT_NE(NightModeModifier(true), NightModeModifier(false));
}

struct Adaptive {
  View body(const Environment& environment) const {
    return Text(environment.value<IsNightMode>() ? "night" : "day");
  }
};

TEST(NightMode, TellsItsContentAndHidesWhatIsMarkedInItsPlace) {
  const View content = Column({square(Color::white()), Adaptive{}, hiddenAtNight(Text("advice"))});
  const std::vector<std::string> day{"day", "advice"}, night{"night"};
  struct Row {
    View view;
    std::vector<std::string> spoken;
    bool isRed;
    const char* why;
  };
  const std::vector<Row> rows{
      {content, day, false, "no modifier is day"},
      {nightMode(content, false), day, false, "off"},
      {nightMode(content, true), night, true, "on"},
      {nightMode(nightMode(content, false), true), day, true, "an inner off in an outer on"},
      {nightMode(nightMode(content, true), false), night, true, "an inner on in an outer off"},
      {content.environment<IsNightMode>(true), night, false, "the value without the filter"},
  };
  const auto place = show(content);
  for (const Row& row : rows) {
    const Frame frame = show(row.view);
    EXPECT_EQ(spoken(frame), row.spoken) << row.why;
    EXPECT_EQ(frame.size.height, place.size.height) << row.why;
    const auto image = paintImage(frame, 1);
    const auto corner = image.pixels.at(static_cast<std::size_t>(image.width * 5 / 2));
    EXPECT_TRUE(isNear(corner, row.isRed ? red : white)) << row.why;
  }
}

// One host that night falls upon: white that is filtered, and what is hidden at night.
class NightFall {
 public:
  Frame at(double seconds, bool isOn) {
    const View view = Row({square(Color::white()), hiddenAtNight(square(Color::white()))},
                          VerticalAlignment::centre, 0);
    return host_.frame(nightMode(view, isOn), english(), Proposal(), after(seconds));
  }
  /// (filtered, hidden); the latter's alpha is how visible it is.
  static std::pair<std::uint32_t, std::uint32_t> look(const Frame& frame) {
    const auto image = paintImage(frame, 1);
    const auto middle = static_cast<std::size_t>(2 * image.width);
    return {image.pixels.at(middle + 2), image.pixels.at(middle + 6)};
  }

 private:
  Host host_;
};

TEST(NightMode, FadesInAndOutOver1200Milliseconds) {
  struct Row {
    double seconds;
    bool isOn;
    std::uint32_t filtered;
    unsigned visible;
    bool isAnimating;
    const char* why;
  };
  const std::vector<Row> rows{
      {0, false, white, 255, false, "the first frame is there at once"},
      {10, true, white, 255, true, "nothing jumps"},
      {10.3, true, 0xFFFFE7E5, 222, true, "slowly at first"},
      {10.6, true, 0xFFFFA39C, 128, true, "half way at half time"},
      {10.9, true, 0xFFFF5F52, 33, true, "and at last"},
      {11.2, true, red, 0, false, "done"},
      {30, false, red, 0, true, "back again"},
      {30.6, false, 0xFFFFA39C, 128, true, "the same way back"},
      {40, true, white, 255, true, "a third time"},
      {40.6, false, 0xFFFFA39C, 128, true, "turned round in the middle goes on from there"},
      {41.9, false, white, 255, false, "to the start"},
  };
  NightFall night;
  for (const Row& row : rows) {
    const Frame frame = night.at(row.seconds, row.isOn);
    const auto [filtered, hidden] = NightFall::look(frame);
    EXPECT_TRUE(isNear(filtered, row.filtered)) << row.why;
    EXPECT_NEAR(hidden >> 24, row.visible, 1) << row.why;
    EXPECT_EQ(frame.isAnimating, row.isAnimating) << row.why;
  }
}

/// Chooses its colour by the night.
struct Dimmed {
  View body(const Environment& environment) const {
    return Text("x").foreground(environment.value<IsNightMode>() ? Color::black() : Color::white());
  }
};

TEST(NightMode, TakesColoursThatDependOnItAlong) {
  Host host;
  const auto brightness = [&](double seconds, bool isOn) {
    const Frame frame =
        host.frame(nightMode(Dimmed(), isOn), shown::english(), Proposal(), shown::after(seconds));
    return std::get<RGBA>(shown::operations<platform::TextOperation>(frame).at(0).paint).red;
  };
  EXPECT_EQ(brightness(0, false), 1);
  EXPECT_EQ(brightness(1, true), 1);
  EXPECT_NEAR(brightness(1.6, true), 0.5, 1e-6);
  EXPECT_EQ(brightness(2.3, true), 0);
}

}  // namespace
}  // namespace idlewyn
