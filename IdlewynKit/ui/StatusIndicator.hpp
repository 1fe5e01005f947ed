// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/model/SessionStatus.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// A session's state as a coloured symbol that pulses once whenever the state changes.
///
///     StatusIndicator(session.status, StatusIconSize::medium)
namespace idlewyn {

using platform::View;

struct StatusIndicator {
  IDLEWYNKIT_EXPORT StatusIndicator(SessionStatus status, double size);

  IDLEWYNKIT_EXPORT View body() const;

  friend bool operator==(const StatusIndicator&, const StatusIndicator&) = default;

  /// A number that is no state shows as idle.
  SessionStatus status;
  /// The symbol's, in points, whatever the user's text size; see StatusIconSize.
  double size;
};

}  // namespace idlewyn
