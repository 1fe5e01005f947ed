// SPDX-License-Identifier: MIT
#include <functional>
#include <stdexcept>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

/// The opacity of each block that is drawn, to a millionth.
std::vector<double> opacities(const Frame& frame) {
  std::vector<double> found;
  for (const auto& operation : operations<RectangleOperation>(frame)) {
    found.push_back(std::round(std::get<RGBA>(operation.paint).alpha * 1e6) / 1e6);
  }
  return found;
}

double opacity(const Frame& frame) {
  const auto found = opacities(frame);
  return found.empty() ? 0 : found[0];
}

struct Step {
  const char* reason;
  View view;
  double seconds;
  double opacity;
  bool isAnimating = false;
};

void play(const std::vector<Step>& steps) {
  Player player;
  for (const Step& step : steps) {
    SCOPED_TRACE(step.reason);
    const Frame frame = player.show(step.view, step.seconds);
    EXPECT_NEAR(opacity(frame), step.opacity, 1e-6);
    EXPECT_EQ(frame.isAnimating, step.isAnimating);
  }
}

View fading(bool isShown) {
  return block(1, 1).opacity(isShown).animation(Animation::easeInOut(1.2), isShown);
}

View unmoved(const View& view, bool isUnmoved = true) {
  return view.environment(&Environment::animationsEnabled, !isUnmoved);
}

const View shown = fading(true);
const View hidden = fading(false);

TEST(Host, MovesOpacityBothWaysOverTheDuration) {
  play({
      {"there at once", shown, 0, 1},
      {"nothing changed", shown, 1, 1},
      {"sets out from where it is", hidden, 2, 1, true},
      {"slowly at first", hidden, 2.3, 1 - 0.1291619, true},
      {"half way at half time", hidden, 2.6, 0.5, true},
      {"over", hidden, 3.2, 0},
      {"and back", shown, 9, 0, true},
      {"slowly at last", shown, 9.9, 0.8708381, true},
      {"frames may be missed", shown, 30, 1},
  });
}

TEST(Host, EndsMovements) {
  play({
      {"shown", shown, 0, 1},
      {"sets out", hidden, 1, 1, true},
      {"the clock goes back", hidden, -3600, 0},
      {"another sets out", shown, 1, 0, true},
      {"no time at all", shown, std::nan(""), 1},
  });
  play({
      {"shown", unmoved(shown, false), 0, 1},
      {"sets out", unmoved(hidden, false), 1, 1, true},
      {"switched off", unmoved(hidden), 1.3, 0},
      {"it doesn't go on", unmoved(hidden, false), 1.4, 0},
  });
  play({
      {"shown", shown, 0, 1},
      {"no longer", View(), 1, 0},
      {"comes back as new", hidden, 2, 0},
  });
}

template <int number>
struct Component {
  View content;
  View body() const { return content; }
};

TEST(Host, JumpsWithoutAReasonToMove) {
  const Animation slow = Animation::easeInOut(1);
  const View full = block(1, 1).opacity(1);
  const View faint = block(1, 1).opacity(0.2);
  const View none = block(1, 1).opacity(0);
  const auto lasting = [&](double seconds, const View& view, int key) {
    return view.animation(Animation::easeInOut(seconds), key);
  };
  struct Row {
    const char* reason;
    View first;
    View second;
    double after = 0.2;  ///< 0.5 s
  };
  const std::vector<Row> rows{
      {"no animation at all", full, faint},
      {"a key that stays the same", lasting(1, full, 3), lasting(1, faint, 3)},
      {"a change outside of the animation", lasting(1, full, 3).opacity(1),
       lasting(1, full, 4).opacity(0.2)},
      {"no time to move", lasting(0, full, 3), lasting(0, faint, 4)},
      {"less than none", lasting(-1, full, 3), lasting(-1, faint, 4)},
      {"not a number", lasting(std::nan(""), full, 3), lasting(std::nan(""), faint, 4)},
      {"an hour at most", lasting(HUGE_VAL, full, 3), lasting(HUGE_VAL, none, 4), 1},
      {"a key of another type", full.animation(slow, 3), faint.animation(slow, 'x')},
      {"switched off inside", lasting(1, full, 3), unmoved(faint).animation(slow, 4)},
      {"a component of another type", Component<1>{lasting(1, full, 1)},
       Component<2>{lasting(1, faint, 2)}},
      {"a component of the same type", Component<1>{lasting(1, full, 1)},
       Component<1>{lasting(1, none, 2)}, 0.5},
      {"an inner key that stays passes the outer movement", lasting(1, lasting(1, full, 1), 2),
       lasting(1, lasting(1, none, 1), 3), 0.5},
      {"an inner change overrides the outer", lasting(1, lasting(0, full, 1), 2),
       lasting(1, lasting(0, faint, 2), 3)},
      {"texts are keys by what they say", full.animation(slow, "a"),
       none.animation(slow, std::string("b")), 0.5},
  };
  for (const Row& row : rows) {
    Player player;
    player.show(row.first, 0);
    player.show(row.second, 1);
    EXPECT_NEAR(opacity(player.show(row.second, 1.5)), row.after, 1e-6) << row.reason;
  }
}

TEST(Host, MovesProgressAndSpeaksWhereItGoes) {
  const auto bar = [](int done) {
    return ProgressBar(done, 4).frame(32).animation(Animation::easeInOut(1), done);
  };
  Player player;
  player.show(bar(1), 0);
  player.show(bar(3), 1);
  const Frame frame = player.show(bar(3), 1.5);
  EXPECT_NEAR(operations<CapsuleOperation>(frame).at(1).rect.size.width, 16, 1e-6);
  EXPECT_EQ(spoken(frame), "progress =0.75");
}

TEST(Host, PulsesOnceForEachChange) {
  const auto pulsing = [](double key) { return block(1, 1).pulse(key); };
  constexpr double lowest = 0.35, between = (1 + lowest) / 2;
  play({
      {"the first frame does not", pulsing(0), 0.5, 1},
      {"another one begins", pulsing(1), 2, 1, true},
      {"half way down", pulsing(1), 2.25, between, true},
      {"lowest", pulsing(1), 2.5, lowest, true},
      {"over", pulsing(1), 3, 1},
      {"and does not repeat", pulsing(1), 3.5, 1},
      {"another change", pulsing(2), 4, 1, true},
      {"on its way up", pulsing(2), 4.75, between, true},
      {"turns round without a jump", pulsing(3), 4.75, between, true},
      {"down again", pulsing(3), 5, lowest, true},
      {"a change before it is on its way up", pulsing(4), 5, lowest, true},
      {"is another pulse after this one", pulsing(4), 5.5, 1, true},
      {"lowest", pulsing(4), 6, lowest, true},
      {"and no more", pulsing(4), 6.5, 1},
      {"what does not equal itself would pulse for ever", pulsing(std::nan("")), 7, 1},
  });
  play({
      {"shown", unmoved(pulsing(0)), 0, 1},
      {"switched off", unmoved(pulsing(1)), 1, 1},
  });
}

/// A child for each word: "a" named so, "*" without a name, "." none, "#" a block that never moves;
/// one that fades away ends in "-".
View column(const std::string& words) {
  std::vector<View> children;
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    const View child = fading(word.back() != '-');
    const char first = word.front();
    children.push_back(first == '#'   ? block(1, 1)
                       : first == '.' ? View()
                       : first == '*' ? child
                                      : child.padding(1).id(word.substr(0, 1)).lineLimit(1));
  }
  return Column(children);
}

TEST(Host, KeepsMovementsWithNamedChildren) {
  struct Case {
    const char* reason;
    const char* first;
    const char* second;
    std::vector<double> after;  ///< 0.6 s after the change
  };
  const std::vector<Case> cases{
      {"a named child inserted before", "a", "b a-", {1, 0.5}},
      {"an unnamed child inserted before", "a", "# a-", {1, 0.5}},
      {"a named child inserted among unnamed ones", "*", "b *-", {1, 0.5}},
      {"children that change places", "a b", "b- a", {0.5, 1}},
      {"a child that is new", "a", "b- a-", {0.5}},
      {"equal names in their order", "a a a", "a a- a", {1, 0.5, 1}},
      {"nothing in a place keeps the others'", ". *", ". *-", {0.5}},
  };
  for (const Case& row : cases) {
    Player player;
    player.show(column(row.first), 0);
    player.show(column(row.second), 1);
    EXPECT_EQ(opacities(player.show(column(row.second), 1.6)), row.after) << row.reason;
  }
}

TEST(Host, OutlivesABodyThatThrows) {
  struct Thrower {
    View body() const { throw std::runtime_error("no body"); }
  };
  Player player;
  player.show(shown, 0);
  EXPECT_THROW(player.show(Row({shown, Thrower()}), 1), std::runtime_error);
  player.show(hidden, 2);
  EXPECT_NEAR(opacity(player.show(hidden, 2.6)), 0.5, 1e-6) << "nothing is lost";
}

TEST(Host, KnowsWhenAPictureNextChangesByItself) {
  const auto timer = [](double age) { return View(Text::timer(after(-age))); };
  struct Row {
    const char* reason;
    View view;
    std::optional<double> next;
  };
  const Row rows[] = {
      {"still views never do", Column({Text("a"), Symbol("terminal"), ProgressBar(1, 2)}), {}},
      {"a timer at its next second", timer(10.25), 0.75},
      {"the first of several", Column({timer(10.25), timer(3.5), timer(7.125)}), 0.5},
      {"hidden ones too: their width moves the others", Column({timer(0.5).opacity(0)}), 0.5},
      {"a width that stays is looked at again after sixty changes",
       timer(0.5).monospacedDigits().opacity(0), 59.5},
      {"or when it changes", timer(590.5).monospacedDigits().opacity(0), 9.5},
      {"what is new on the second waits a whole one", timer(0), 1},
      {"one that has not begun", timer(-5), 6},
  };
  for (const Row& row : rows) {
    const Frame frame = still(row.view);
    EXPECT_FALSE(frame.isAnimating) << row.reason;
    EXPECT_EQ(frame.nextChange, row.next ? std::optional(after(*row.next)) : std::nullopt)
        << row.reason;
  }
}

constexpr Color red(1, 0, 0);
constexpr Color blue(0, 0, 1, 0.5);

/// Of the last drawing.
Paint paintOf(const Frame& frame) {
  return std::visit(
      [](const auto& drawing) {
        if constexpr (requires { drawing.paint; }) return drawing.paint;
        return Paint();
      },
      frame.operations.back());
}

/// Half way through what the second view may begin; everything is over after it.
Paint halfWay(const View& first, const View& second) {
  Player player;
  player.show(first, 0);
  player.show(second, 1);
  const Paint paint = paintOf(player.show(second, 1.6));
  EXPECT_FALSE(player.show(second, 2.3).isAnimating);
  return paint;
}

double blueness(const Paint& paint) { return std::get<RGBA>(paint).blue; }

/// Red, opaque, to blue, translucent.
bool isMiddle(const RGBA& color) {
  return std::abs(color.red - 0.5) + std::abs(color.green) + std::abs(color.blue - 0.5) +
             std::abs(color.alpha - 0.75) <
         1e-6;
}

TEST(Host, MovesColoursInsideOfAnAnimationOnly) {
  const std::pair<const char*, std::function<View(const ShapeStyle&)>> makes[] = {
      {"text", [](const auto& style) { return Text("x").foreground(style); }},
      {"symbol", [](const auto& style) { return Symbol("terminal").foreground(style); }},
      {"label", [](const auto& style) { return Label("x", "terminal").foreground(style); }},
      {"background", [](const auto& style) { return Spacer(9).background(style); }},
      {"tint", [](const auto& style) { return ProgressBar(1, 1).tint(style); }},
  };
  const LinearGradient down(red, blue, {0, 0}, {0, 1});
  const LinearGradient across(blue, red, {0, 0}, {1, 0});
  for (const auto& [name, plain] : makes) {
    SCOPED_TRACE(name);
    const auto keyed = [&make = plain](const ShapeStyle& style, int key,
                                       Appearance appearance = Appearance::light) {
      return make(style)
          .environment(&Environment::appearance, appearance)
          .animation(Animation::easeInOut(1.2), key);
    };
    EXPECT_TRUE(isMiddle(std::get<RGBA>(halfWay(keyed(red, 1), keyed(blue, 2)))));
    EXPECT_EQ(blueness(halfWay(keyed(red, 1), keyed(blue, 1))), 1) << "no new key";
    EXPECT_EQ(blueness(halfWay(plain(red), plain(blue))), 1) << "no animation";
    const Color pair(red, blue);
    EXPECT_EQ(blueness(halfWay(keyed(pair, 1), keyed(pair, 1, Appearance::dark))), 1)
        << "the appearance alone";
    const auto gradient = std::get<GradientPaint>(halfWay(keyed(down, 1), keyed(across, 2)));
    EXPECT_TRUE(isMiddle(gradient.from) && isMiddle(gradient.to));
    EXPECT_GT(gradient.end.x, gradient.start.x);
    EXPECT_EQ(blueness(halfWay(keyed(down, 1), keyed(blue, 2))), 1)
        << "a gradient has no way to a colour";
  }
}

}  // namespace
}  // namespace idlewyn::platform
