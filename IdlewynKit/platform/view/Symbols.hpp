// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string_view>

#include <IdlewynKit/Export.hpp>

/// The symbols that views can show, drawn by the library itself.
///
///     SymbolName symbol = symbolNamed("hand.raised.fill");
///     bool isKnown = symbol != SymbolName::placeholder;
///     view = Symbol(symbolNamed(symbolName(session.status)));
namespace idlewyn::platform {

enum class SymbolName : std::uint8_t {
  placeholder,  ///< a dashed square, for every name that is not known
  sparkle,
  chevronsWithSlash,
  dottedCircle,
  raisedHand,
  checkmarkCircle,
  exclamationTriangle,
  sleepingMoon,
  terminal,
};

/// By the system's name: "sparkle", "chevron.left.forwardslash.chevron.right",
/// "circle.dotted.circle", "hand.raised.fill", "checkmark.circle.fill",
/// "exclamationmark.triangle.fill", "moon.zzz.fill", "terminal". Exact and case-sensitive.
IDLEWYNKIT_EXPORT SymbolName symbolNamed(std::string_view systemName) noexcept;

}  // namespace idlewyn::platform
