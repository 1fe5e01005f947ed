// SPDX-License-Identifier: MIT
#include "PairingDesk.hpp"

#include <algorithm>
#include <random>
#include <string_view>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn::sandbox {

std::string PairingDesk::makeCode(Date now) {
  constexpr std::string_view alphabet = "ABCDEFGHJKMNPQRSTUVWXYZ23456789";
  std::random_device random;
  std::uniform_int_distribution<std::size_t> place(0, alphabet.size() - 1);
  std::string code;
  while (code.size() < codeLength)
    code += alphabet[place(random)];
  addCode(code, now);
  return code;
}

void PairingDesk::addCode(std::string code, Date now) {
  std::erase_if(codes_, [&](const Code& old) { return old.expires <= now || old.text == code; });
  codes_.push_back({std::move(code), now + codeLifetime});
}

PairingResult PairingDesk::pair(AgentProvider provider, const std::string& code, Date now) {
  if (lockedUntil_ && now < *lockedUntil_) return PairingOutcome::tooManyAttempts;
  lockedUntil_.reset();
  const auto agent = static_cast<std::size_t>(provider);
  const auto found = std::ranges::find_if(codes_, [&](const Code& known) {
    return known.text == code && now < known.expires && !known.used[agent];
  });
  if (found == codes_.end()) {
    if (++wrongCodes_ == wrongCodesAllowed) {
      wrongCodes_ = 0;
      lockedUntil_ = now + lockTime;
    }
    return PairingOutcome::wrongCode;
  }
  wrongCodes_ = 0;
  found->used[agent] = true;
  return {PairingOutcome::paired, issueToken(provider)};
}

std::string PairingDesk::issueToken(AgentProvider provider) {
  std::random_device random;
  std::array<std::uint8_t, 24> bytes{};
  std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random()); });
  std::string token = "sandbox-" + platform::hexadecimal(bytes);
  tokens_.emplace(token, provider);
  return token;
}

}  // namespace idlewyn::sandbox
