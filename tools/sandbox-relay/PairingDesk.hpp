// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

#include <tools/relay-core/PairingCodes.hpp>
#include <tools/relay-core/Service.hpp>

/// Pairing codes and the tokens they are exchanged for. Not thread-safe.
///
///     PairingDesk desk;
///     std::string code = desk.makeCode(now);
///     auto [outcome, token] = desk.pair(AgentProvider::claude, code, now);
namespace idlewyn::sandbox {

using platform::Date;
using relay::PairingOutcome;
using relay::PairingResult;

class PairingDesk {
 public:
  static constexpr std::chrono::seconds lockTime{60};
  static constexpr int wrongCodesAllowed = 5;
  static constexpr std::size_t codeLength = 8;

  /// A fresh code, without letters and digits that are easily confused.
  std::string makeCode(Date now) { return codes_.make(now); }
  /// Any text as a code, alive from now on.
  void addCode(std::string code, Date now) { codes_.add(std::move(code), now); }

  /// Each code serves once for each agent. Codes that are unknown, used or too old are wrong;
  /// the fifth wrong one in a row locks the desk for a minute, for right ones too.
  PairingResult pair(AgentProvider provider, const std::string& code, Date now);

  std::string issueToken(AgentProvider provider);
  bool isValid(const std::string& token) const { return tokens_.contains(token); }
  void revoke(const std::string& token) { tokens_.erase(token); }

 private:
  relay::PairingCodes codes_{codeLength};
  std::map<std::string, AgentProvider> tokens_;
  int wrongCodes_ = 0;
  std::optional<Date> lockedUntil_;
};

}  // namespace idlewyn::sandbox
