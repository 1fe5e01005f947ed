// SPDX-License-Identifier: MIT
#pragma once

/// The lengths that every view of sessions takes its measures from, in points.
///
///     row({icon, title}, Spacing::s).padding(Spacing::m);
///     StatusIndicator(session.status, StatusIconSize::medium);
namespace idlewyn {

struct Spacing {
  Spacing() = delete;

  static constexpr double hairline = 2;
  static constexpr double xs = 4;
  static constexpr double s = 8;
  static constexpr double m = 12;
  static constexpr double l = 16;
  static constexpr double xl = 24;
};

/// Of corners.
struct Radius {
  Radius() = delete;

  static constexpr double small = 8;
  static constexpr double card = 16;
  static constexpr double panel = 24;
};

struct StatusIconSize {
  StatusIconSize() = delete;

  static constexpr double small = 14;
  static constexpr double medium = 20;
  static constexpr double large = 28;
};

struct Layout {
  Layout() = delete;

  static constexpr double iconColumn = 28;
  static constexpr double timerColumn = 64;
  static constexpr double dashboardCardMinWidth = 220;
  static constexpr double dashboardCardMinHeight = 150;
  static constexpr double progressBarWidth = 32;
  static constexpr double outputPanelHeight = 140;
};

}  // namespace idlewyn
