// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// How many tasks are done: a short bar, and the two counts beside it.
///
///     if (auto progress = session.taskProgress())
///       cards.push_back(TaskProgressView(progress->done, progress->total, tint(session.status)));
///
/// The texts are `%lld/%lld` and, for screen readers, `%lld of %lld tasks done`, looked up by
/// gettext in the application's current domain, as UTF-8; resources/IdlewynKit.pot has them.
namespace idlewyn {

using platform::Color;
using platform::View;

struct TaskProgressView {
  IDLEWYNKIT_EXPORT TaskProgressView(std::int64_t done, std::int64_t total, Color tint);

  IDLEWYNKIT_EXPORT View body() const;

  friend bool operator==(const TaskProgressView&, const TaskProgressView&) = default;

  /// Any numbers: the bar is clamped between empty and full, the text tells them as they are.
  std::int64_t done;
  std::int64_t total;
  /// Of bar and text.
  Color tint;
};

}  // namespace idlewyn
