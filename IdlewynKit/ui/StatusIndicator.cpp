// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/StatusIndicator.hpp>

#include <string>

#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/ui/tokens/Tint.hpp>

namespace idlewyn {

StatusIndicator::StatusIndicator(SessionStatus status, double size) : status(status), size(size) {}

View StatusIndicator::body() const {
  return platform::Symbol(std::string(symbolName(status)))
      .font(platform::Font::system(size, platform::FontWeight::semibold))
      .foreground(tint(status))
      .pulse(status)
      .accessibilityLabel(std::string(label(status)));
}

}  // namespace idlewyn
