// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/TaskProgressView.hpp>

#include <algorithm>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/internal/CountFormat.hpp>
#include <IdlewynKit/ui/tokens/Lengths.hpp>
#include <IdlewynKit/ui/tokens/Typography.hpp>

namespace idlewyn {

using internal::countText;

TaskProgressView::TaskProgressView(std::int64_t done, std::int64_t total, Color tint)
    : done(done), total(total), tint(tint) {}

View TaskProgressView::body() const {
  const auto value = static_cast<double>(std::min(done, total));
  const auto whole = static_cast<double>(std::max<std::int64_t>(total, 1));
  return platform::Row(
             {platform::ProgressBar(value, whole).tint(tint).frame(Layout::progressBarWidth),
              platform::Text(countText("%lld/%lld", done, total))
                  .font(Typography::numberSmall)
                  .foreground(tint)},
             platform::VerticalAlignment::centre, Spacing::xs)
      .accessibilityElement()
      .accessibilityLabel(countText("%lld of %lld tasks done", done, total));
}

}  // namespace idlewyn
