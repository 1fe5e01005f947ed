// SPDX-License-Identifier: MIT
#include <stdexcept>

#include <gtest/gtest.h>

#include <IdlewynKit/UI.hpp>

namespace idlewyn {
namespace {

Frame drawn(const View& view) { return frameOf(view, Environment(), Proposal(), DateClock::now()); }

// A view of an application's own, made of the library's.
struct Badges {
  View body() const {
    return Row(
        {ProviderBadge(AgentProvider::claude, true), ProviderBadge(AgentProvider::codex, true)});
  }
};
struct Broken {
  View body() const { throw std::runtime_error("broken"); }
};

TEST(SharedViews, ViewsOfOnesOwnAreDrawn) {
  const Frame frame = drawn(Badges());
  EXPECT_GT(frame.size.width, drawn(ProviderBadge(AgentProvider::claude, true)).size.width);
  EXPECT_GT(paintPNG(frame, 1.0).text().size(), 100u);
}

TEST(SharedViews, ErrorsAreCaughtAcrossTheBorderInBothDirections) {
  EXPECT_THROW(paintPNG(drawn(Badges()), 0.0), PaintError);
  EXPECT_THROW(drawn(Broken()), std::runtime_error);
}

}  // namespace
}  // namespace idlewyn
