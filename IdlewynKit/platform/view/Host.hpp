// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Date.hpp>
#include <IdlewynKit/platform/view/Alignment.hpp>
#include <IdlewynKit/platform/view/Environment.hpp>
#include <IdlewynKit/platform/view/Frame.hpp>
#include <IdlewynKit/platform/view/View.hpp>

/// Views to frames: once, or again and again with movements in between.
///
///     Host host;
///     Frame frame = host.frame(view, environment, Proposal{.width = 320}, DateClock::now());
///     // again when the view or the environment is another one, at once while frame.isAnimating,
///     // else at frame.nextChange
namespace idlewyn::platform {

/// Keeps what outlives a frame: the values that animations and pulses are keyed on, and the
/// movements under way. They belong to places in the tree: the nth child, or the named one. A
/// host of one thread at a time; what an application's body throws leaves it usable. One that was
/// moved from can only be assigned to.
class IDLEWYNKIT_EXPORT Host {
 public:
  Host();
  Host(Host&& other) noexcept;
  Host& operator=(Host&& other) noexcept;
  ~Host();

  /// The first frame never animates. Where the clock goes back, movements end at once.
  Frame frame(const View& view, const Environment& environment, const Proposal& proposal, Date now);

 private:
  std::unique_ptr<internal::Memory> memory_;
};

/// A frame without a past: nothing moves in it.
IDLEWYNKIT_EXPORT Frame frameOf(const View& view, const Environment& environment,
                                const Proposal& proposal, Date now);

}  // namespace idlewyn::platform
