// SPDX-License-Identifier: MIT
#include "ViewSupport.hpp"

namespace idlewyn::platform {
namespace {

TEST(Frame, TellsAssistiveTechnologyWhatItShows) {
  const View text = Text("one");
  const View bar = ProgressBar(3, 4);
  const View symbol = Symbol("hand.raised.fill");
  check(
      spoken,
      {
          {"in reading order", Column({Row({symbol, text}), bar}),
           "image hand raised fill; text one; progress =0.75"},
          {"a label reads as its title", Label("Claude", "terminal"), "text Claude"},
          {"nothing to say", Row({Text(""), Spacer(), Symbol("")}), ""},
          {"a name keeps the role of one part", symbol.padding(2).accessibilityLabel("Waiting"),
           "image Waiting"},
          {"a name makes one of many", Row({bar, text}).accessibilityLabel("3 of 4"),
           "group 3 of 4"},
          {"and gives one to what is mute", Spacer(3).accessibilityLabel("gap"), "group gap"},
          {"the outer name counts", text.accessibilityLabel("in").accessibilityLabel("out"),
           "text out"},
          {"ignored parts leave a group", text.accessibilityElement().accessibilityLabel("all"),
           "group all"},
          {"or nothing without a name", Row({Row({bar, text}).accessibilityElement(), text}),
           "text one"},
          {"hidden is silent", Row({text.opacity(0), text.opacity(0.01), Row({bar}).opacity(0)}),
           "text one"},
          {"a name outside of it stays", Row({bar.opacity(0)}).accessibilityLabel("x"), "group x"},
          {"a name inside of it does not", bar.accessibilityLabel("x").padding(1).opacity(0), ""},
          {"bytes that are no text", Text("\xFF").accessibilityLabel("c\xC3"),
           "text c\xEF\xBF\xBD"},
          {"no amount", ProgressBar(1, 0), "progress =0.00"},
          {"more than all", ProgressBar(9, 4), "progress =1.00"},
          {"less than none", ProgressBar(-9, 4), "progress =0.00"},
          {"not a number", ProgressBar(std::nan(""), 4), "progress =0.00"},
      });
}

TEST(Frame, PlacesElementsWhereTheyAreDrawn) {
  const Frame frame = still(Row({block(10, 10), Text("x").accessibilityLabel("padded").padding(4),
                                 Text("y").padding(4).accessibilityLabel("whole")},
                                VerticalAlignment::top, 0));
  ASSERT_EQ(frame.elements.size(), 2U);
  const auto texts = operations<TextOperation>(frame);
  ASSERT_EQ(texts.size(), 2U);
  EXPECT_EQ(frame.elements[0].rect.origin, texts[0].origin);
  EXPECT_EQ(frame.elements[1].rect.origin, (Point{texts[1].origin.x - 4, 0}));
  EXPECT_EQ(frame.elements[1].rect.bottom(), frame.size.height);
}

TEST(Frame, StaysSilentFromTheMomentSomethingIsHidden) {
  Player player;
  const auto count = [&](bool isShown, double seconds) {
    const View fading = Text("x").opacity(isShown).animation(Animation::easeInOut(1), isShown);
    const Frame frame = player.show(fading, seconds);
    return std::pair(frame.elements.size(), frame.operations.size());
  };
  EXPECT_EQ(count(true, 0), std::pair(1UL, 1UL));
  EXPECT_EQ(count(false, 1), std::pair(0UL, 1UL)) << "still to be seen";
  EXPECT_EQ(count(false, 3), std::pair(0UL, 0UL));
  EXPECT_EQ(count(true, 4), std::pair(1UL, 0UL)) << "on its way";
}

/// "opacity grayscale contrast multiply; ...", the outermost first.
std::string layers(const Frame& frame) {
  std::ostringstream found;
  for (const LayerBegin& layer : operations<LayerBegin>(frame)) {
    found << layer.opacity << ' ' << layer.grayscale << ' ' << layer.contrast << ' '
          << (layer.multiply == RGBA{1, 0, 0, 1}   ? "red; "
              : layer.multiply == RGBA{1, 1, 1, 1} ? "white; "
                                                   : "other; ");
  }
  return found.str();
}

TEST(Frame, LayersEffectsFromTheInside) {
  const View two = Row({block(1, 1), block(1, 1)});
  const Color red(1, 0, 0);
  check(
      layers,
      {
          {"what changes nothing",
           two.opacity(1).contrast(1).grayscale(0).colorMultiply(Color::white()), ""},
          {"in the order of a layer: one",
           two.grayscale(1).contrast(1.3).colorMultiply(red).opacity(0.5), "0.5 1 1.3 red; "},
          {"against it: one each", two.contrast(1.3).grayscale(1), "1 1 1 white; 1 0 1.3 white; "},
          {"twice the same", two.grayscale(0.5).grayscale(0.25), "1 0.25 1 white; 1 0.5 1 white; "},
          {"a background between belongs to the outer one only",
           two.grayscale(1).background(red).contrast(2), "1 0 2 white; 1 1 1 white; "},
          {"one faint drawing needs none", Row({block(1, 1).opacity(0.5)}), ""},
          {"an empty layer is left out", Spacer(3).grayscale(1), ""},
          {"nothing inside of what is hidden", two.grayscale(1).padding(1).opacity(0), ""},
      });
}

}  // namespace
}  // namespace idlewyn::platform
