// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/Symbols.hpp>

#include <array>
#include <utility>

namespace idlewyn::platform {
namespace {

constexpr std::array<std::pair<std::string_view, SymbolName>, 8> systemNames{{
    {"sparkle", SymbolName::sparkle},
    {"chevron.left.forwardslash.chevron.right", SymbolName::chevronsWithSlash},
    {"circle.dotted.circle", SymbolName::dottedCircle},
    {"hand.raised.fill", SymbolName::raisedHand},
    {"checkmark.circle.fill", SymbolName::checkmarkCircle},
    {"exclamationmark.triangle.fill", SymbolName::exclamationTriangle},
    {"moon.zzz.fill", SymbolName::sleepingMoon},
    {"terminal", SymbolName::terminal},
}};

}  // namespace

SymbolName symbolNamed(std::string_view systemName) noexcept {
  for (const auto& [name, symbol] : systemNames)
    if (name == systemName) return symbol;
  return SymbolName::placeholder;
}

}  // namespace idlewyn::platform
