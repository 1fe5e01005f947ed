// SPDX-License-Identifier: MIT
#include <sstream>
#include <stdexcept>

#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

/// A host whose clock is set by hand, for views of one block.
class Player {
 public:
  Frame show(const View& view, double seconds) {
    return host_.frame(view, environment, Proposal(), dateFromReferenceSeconds(1000 + seconds));
  }
  /// The opacity of each block, -1 for those that are not drawn.
  std::vector<double> opacities(const View& view, double seconds) {
    const Frame frame = show(view, seconds);
    isAnimating = frame.isAnimating;
    std::vector<double> found;
    for (const auto& operation : operations<RectangleOperation>(frame)) {
      found.push_back(std::get<RGBA>(operation.paint).alpha);
    }
    return found;
  }
  double opacity(const View& view, double seconds) {
    const auto found = opacities(view, seconds);
    return found.empty() ? 0 : found[0];
  }

  Environment environment;
  bool isAnimating = false;

 private:
  Host host_;
};

View fading(bool isShown, double seconds = 1.2) {
  return block(1, 1).opacity(isShown ? 1 : 0).animation(Animation::easeInOut(seconds), isShown);
}

TEST(Animation, EasesInAndOut) {
  const Animation animation = Animation::easeInOut(1.2);
  const std::pair<double, double> points[] = {
      {-1, 0},           {0, 0}, {0.1, 0.0197224}, {0.25, 0.1291619}, {0.5, 0.5},
      {0.75, 0.8708381}, {1, 1}, {2, 1},           {std::nan(""), 0}};
  for (const auto& [time, progress] : points) {
    EXPECT_NEAR(animation.progress(time), progress, 1e-6) << time;
  }
  EXPECT_EQ(Animation::easeInOut(-1).duration(), 0);
  EXPECT_EQ(Animation::easeInOut(std::nan("")).duration(), 0);
  EXPECT_EQ(Animation::easeInOut(HUGE_VAL).duration(), 3600);
}

TEST(Host, MovesOpacityBothWaysOverTheDuration) {
  Player player;
  EXPECT_EQ(player.opacity(fading(true), 0), 1);
  EXPECT_EQ(player.opacity(fading(true), 1), 1);
  EXPECT_FALSE(player.isAnimating);
  EXPECT_EQ(player.opacity(fading(false), 2), 1) << "sets out from where it is";
  EXPECT_TRUE(player.isAnimating);
  EXPECT_NEAR(player.opacity(fading(false), 2.3), 1 - 0.1291619, 1e-6);
  EXPECT_NEAR(player.opacity(fading(false), 2.6), 0.5, 1e-6);
  EXPECT_TRUE(player.isAnimating);
  EXPECT_EQ(player.opacity(fading(false), 3.2), 0);
  EXPECT_FALSE(player.isAnimating);
  EXPECT_EQ(player.opacity(fading(true), 9), 0) << "and back";
  EXPECT_NEAR(player.opacity(fading(true), 9.9), 0.8708381, 1e-6);
  EXPECT_EQ(player.opacity(fading(true), 30), 1) << "frames may be missed";
}

template <int number>
struct Component {
  View content;
  View body() const { return content; }
};

TEST(Host, JumpsWithoutAReasonToMove) {
  const auto half = [](double amount) { return block(1, 1).opacity(amount); };
  const Animation slow = Animation::easeInOut(1);
  struct Row {
    const char* reason;
    View first;
    View second;
    double after;  ///< 0.5 s
  };
  const std::vector<Row> rows{
      {"no animation at all", half(1), half(0.2), 0.2},
      {"a key that stays the same", half(1).animation(slow, 3), half(0.2).animation(slow, 3), 0.2},
      {"a change outside of the animation", half(1).animation(slow, 3).opacity(1),
       half(1).animation(slow, 4).opacity(0.2), 0.2},
      {"no time to move", half(1).animation(Animation::easeInOut(0), 3),
       half(0.2).animation(Animation::easeInOut(0), 4), 0.2},
      {"a key of another type", half(1).animation(slow, 3), half(0.2).animation(slow, 'x'), 0.2},
      {"animations switched off inside", half(1).animation(slow, 3),
       half(0.2).environment(&Environment::animationsEnabled, false).animation(slow, 4), 0.2},
      {"a component of another type", Component<1>{half(1).animation(slow, 1)},
       Component<2>{half(0.2).animation(slow, 2)}, 0.2},
      {"a component of the same type", Component<1>{half(1).animation(slow, 1)},
       Component<1>{half(0).animation(slow, 2)}, 0.5},
      {"an inner key that stays passes the outer movement",
       half(1).animation(slow, 1).animation(slow, 2), half(0).animation(slow, 1).animation(slow, 3),
       0.5},
      {"an inner change overrides the outer",
       half(1).animation(Animation::easeInOut(0), 1).animation(slow, 2),
       half(0.2).animation(Animation::easeInOut(0), 2).animation(slow, 3), 0.2},
      {"texts are keys by what they say", half(1).animation(slow, "a"),
       half(0).animation(slow, std::string("b")), 0.5},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.reason);
    Player player;
    player.opacity(row.first, 0);
    player.opacity(row.second, 1);
    EXPECT_NEAR(player.opacity(row.second, 1.5), row.after, 1e-6);
  }
}

TEST(Host, EndsMovementsWhereTheClockGoesBack) {
  Player player;
  player.opacity(fading(true), 0);
  player.opacity(fading(false), 1);
  EXPECT_EQ(player.opacity(fading(false), -3600), 0);
  EXPECT_FALSE(player.isAnimating);
  player.opacity(fading(true), std::nan(""));
  EXPECT_FALSE(player.show(fading(true), std::nan("")).isAnimating);
}

TEST(Host, EndsMovementsWhenTheyAreSwitchedOff) {
  Player player;
  player.opacity(fading(true), 0);
  player.opacity(fading(false), 1);
  player.environment.animationsEnabled = false;
  EXPECT_EQ(player.opacity(fading(false), 1.3), 0);
  EXPECT_FALSE(player.isAnimating);
  player.environment.animationsEnabled = true;
  EXPECT_EQ(player.opacity(fading(false), 1.4), 0) << "it doesn't go on";
}

TEST(Host, MovesProgressAndSpeaksWhereItGoes) {
  const auto bar = [](int done) {
    return ProgressBar(done, 4).frame(32).animation(Animation::easeInOut(1), done);
  };
  Player player;
  player.show(bar(1), 0);
  player.show(bar(3), 1);
  const Frame frame = player.show(bar(3), 1.5);
  EXPECT_NEAR(operations<CapsuleOperation>(frame)[1].rect.size.width, 16, 1e-6);
  ASSERT_EQ(frame.elements.size(), 1U);
  EXPECT_EQ(frame.elements[0].value, 0.75);
}

TEST(Host, PulsesOnceForEachChange) {
  const auto pulsing = [](int key) { return block(1, 1).pulse(key); };
  Player player;
  struct Row {
    const char* reason;
    int key;
    double seconds;
    double opacity;
    bool isAnimating;
  };
  const double lowest = player.opacity(pulsing(0), 0) - 0.65;
  const Row rows[] = {
      {"the first frame does not", 0, 0.5, 1, false},
      {"another one begins", 1, 2, 1, true},
      {"half way down", 1, 2.25, (1 + lowest) / 2, true},
      {"lowest", 1, 2.5, lowest, true},
      {"over", 1, 3, 1, false},
      {"and does not repeat", 1, 3.5, 1, false},
      {"another change", 2, 4, 1, true},
      {"on its way up", 2, 4.75, (1 + lowest) / 2, true},
      {"turns round without a jump", 3, 4.75, (1 + lowest) / 2, true},
      {"down again", 3, 5, lowest, true},
      {"a change before it is on its way up", 4, 5, lowest, true},
      {"is another pulse after this one", 4, 5.5, 1, true},
      {"lowest", 4, 6, lowest, true},
      {"and no more", 4, 6.5, 1, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.reason);
    EXPECT_NEAR(player.opacity(pulsing(row.key), row.seconds), row.opacity, 1e-6);
    EXPECT_EQ(player.isAnimating, row.isAnimating);
  }
  player.environment.animationsEnabled = false;
  EXPECT_EQ(player.opacity(pulsing(9), 7), 1);
  EXPECT_FALSE(player.isAnimating);
  Player endless;
  endless.opacity(block(1, 1).pulse(std::nan("")), 0);
  endless.opacity(block(1, 1).pulse(std::nan("")), 1);
  EXPECT_FALSE(endless.isAnimating) << "what does not equal itself would pulse for ever";
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
    SCOPED_TRACE(row.reason);
    Player player;
    player.opacities(column(row.first), 0);
    player.opacities(column(row.second), 1);
    const auto found = player.opacities(column(row.second), 1.6);
    ASSERT_EQ(found.size(), row.after.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
      EXPECT_NEAR(found[i], row.after[i], 1e-6);
    }
  }
}

TEST(Host, ForgetsWhatItNoLongerShows) {
  Player player;
  player.opacity(fading(true), 0);
  player.show(View(), 1);
  EXPECT_EQ(player.opacity(fading(false), 2), 0) << "it comes back as new";
  EXPECT_FALSE(player.isAnimating);
}

TEST(Host, OutlivesABodyThatThrows) {
  struct Thrower {
    View body() const { throw std::runtime_error("no body"); }
  };
  Player player;
  player.opacity(fading(true), 0);
  EXPECT_THROW(player.show(Row({fading(true), Thrower()}), 1), std::runtime_error);
  player.opacity(fading(false), 2);
  EXPECT_NEAR(player.opacity(fading(false), 2.6), 0.5, 1e-6) << "nothing is lost";
}

TEST(Host, KnowsWhenAPictureNextChangesByItself) {
  const double now = 1000;
  const auto timer = [&](double age) {
    return View(Text::timer(dateFromReferenceSeconds(now - age)));
  };
  struct Row {
    const char* reason;
    View view;
    std::optional<double> next;
  };
  const Row rows[] = {
      {"still views never do", Column({Text("a"), Symbol("terminal"), ProgressBar(1, 2)}), {}},
      {"a timer at its next second", timer(10.25), 1000.75},
      {"the first of several", Column({timer(10.25), timer(3.5), timer(7.125)}), 1000.5},
      {"hidden ones too: their width moves the others", Column({timer(0.5).opacity(0)}), 1000.5},
      {"a width that stays is looked at again after sixty changes",
       timer(0.5).monospacedDigits().opacity(0), 1059.5},
      {"or when it changes", timer(590.5).monospacedDigits().opacity(0), 1009.5},
      {"what is new on the second waits a whole one", timer(0), 1001},
      {"one that has not begun", timer(-5), 1006},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.reason);
    const Frame frame = frameOf(row.view, Environment(), Proposal(), dateFromReferenceSeconds(now));
    EXPECT_FALSE(frame.isAnimating);
    ASSERT_EQ(frame.nextChange.has_value(), row.next.has_value());
    if (!row.next) continue;
    EXPECT_NEAR(secondsSinceReferenceDate(*frame.nextChange), *row.next, 1e-6);
  }
}

}  // namespace
}  // namespace idlewyn::platform
