// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/StatusIndicator.hpp>

#include <string>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/tokens/Tint.hpp>

namespace idlewyn {

StatusIndicator::StatusIndicator(SessionStatus status, double size) : status(status), size(size) {}

View StatusIndicator::body() const {
  // The facts of a state are looked up without a check.
  const SessionStatus known = status <= SessionStatus::idle ? status : SessionStatus::idle;
  return platform::Symbol(std::string(symbolName(known)))
      .font(platform::Font::system(size, platform::FontWeight::semibold))
      .foreground(tint(known))
      .pulse(known)
      .accessibilityLabel(std::string(label(known)));
}

}  // namespace idlewyn
