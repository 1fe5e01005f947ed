// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/ActivityLine.hpp>

#include <utility>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/tokens/Typography.hpp>

namespace idlewyn {

ActivityLine::ActivityLine(std::string text, ShapeStyle style, bool showsIcon, bool compact)
    : text(std::move(text)), style(style), showsIcon(showsIcon), compact(compact) {}

View ActivityLine::body() const {
  const View content =
      showsIcon ? View(platform::Label(text, "terminal")) : View(platform::Text(text));
  return content.font(compact ? Font::system(TextStyle::caption2).monospaced() : Typography::mono)
      .foreground(style)
      .code()
      .lineLimit(1)
      .truncation(platform::TruncationMode::middle);
}

}  // namespace idlewyn
