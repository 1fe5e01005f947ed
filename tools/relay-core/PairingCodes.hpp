// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

/// Pairing codes that are alive. Not thread-safe.
///
///     PairingCodes codes(12);
///     std::string code = codes.make(now);
///     codes.use(AgentProvider::claude, code, now);   // true, once
namespace idlewyn::relay {

using platform::Date;

class PairingCodes {
 public:
  static constexpr std::chrono::seconds lifetime{300};
  /// 32 letters and digits, none of them easily confused: five bits a character.
  static constexpr std::string_view alphabet = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";

  /// Codes of that many characters.
  explicit PairingCodes(std::size_t length) : length_(length) {}

  /// A fresh code of the system's random numbers. `label` comes back with `labelOf`.
  std::string make(Date now, std::string label = {});
  /// Any text as a code, alive from now on.
  void add(std::string code, Date now, std::string label = {});

  /// True once for each agent while the code lives. Takes the same time for every code of the
  /// right length.
  bool use(AgentProvider provider, std::string_view code, Date now);
  /// What the code was made with; empty for unknown codes.
  std::string labelOf(std::string_view code) const;
  void clear() { codes_.clear(); }

 private:
  struct Code {
    std::string text;
    std::string label;
    Date expires;
    std::array<bool, 2> used{};
  };

  std::size_t length_;
  std::vector<Code> codes_;
};

}  // namespace idlewyn::relay
