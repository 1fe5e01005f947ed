// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

/// Pairing codes and the tokens they are exchanged for. Not thread-safe.
///
///     PairingDesk desk;
///     std::string code = desk.makeCode(now);
///     auto [outcome, token] = desk.pair(AgentProvider::claude, code, now);
namespace idlewyn::sandbox {

using platform::Date;

enum class PairingOutcome : std::uint8_t { paired, wrongCode, tooManyAttempts };

struct PairingResult {
  PairingResult(PairingOutcome outcome, std::string token = {})
      : outcome(outcome), token(std::move(token)) {}

  PairingOutcome outcome;
  /// Empty unless paired.
  std::string token;
};

class PairingDesk {
 public:
  static constexpr std::chrono::seconds codeLifetime{300};
  static constexpr std::chrono::seconds lockTime{60};
  static constexpr int wrongCodesAllowed = 5;
  static constexpr std::size_t codeLength = 8;

  /// A fresh code, without letters and digits that are easily confused.
  std::string makeCode(Date now);
  /// Any text as a code, alive from now on.
  void addCode(std::string code, Date now);

  /// Each code serves once for each agent. Codes that are unknown, used or too old are wrong;
  /// the fifth wrong one in a row locks the desk for a minute, for right ones too.
  PairingResult pair(AgentProvider provider, const std::string& code, Date now);

  std::string issueToken(AgentProvider provider);
  bool isValid(const std::string& token) const { return tokens_.contains(token); }
  void revoke(const std::string& token) { tokens_.erase(token); }

 private:
  struct Code {
    std::string text;
    Date expires;
    std::array<bool, 2> used{};
  };

  std::vector<Code> codes_;
  std::map<std::string, AgentProvider> tokens_;
  int wrongCodes_ = 0;
  std::optional<Date> lockedUntil_;
};

}  // namespace idlewyn::sandbox
