// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/view/Frame.hpp>
#include <IdlewynKit/platform/view/internal/layout/Box.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

namespace idlewyn::platform::internal {

class Resolver;

/// A text in the font and style of its environment. It stands on characters that others keep.
class TextBox final : public Box {
 public:
  TextBox(Resolver& resolver, std::string_view text);

  Size size(const Proposal& proposal) override;
  void place(Point origin, const Proposal& proposal, FrameBuilder& canvas) override;

  /// Whether another text would be as large in its place.
  bool isAsLargeAs(std::string_view text) const;
  /// Where the middle of its first line's capitals is below its top.
  double capitalsCentre(const Proposal& proposal);

 private:
  /// Null where there is no room.
  const std::shared_ptr<const ShapedText>& shaped(const Proposal& proposal);

  std::string_view spoken_;
  TextRequest request_;
  Paint paint_;
  std::shared_ptr<const ShapedText> ideal_;
  std::shared_ptr<const ShapedText> fitted_;
  double fittedWidth_ = -1;
};

}  // namespace idlewyn::platform::internal
