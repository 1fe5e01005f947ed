// SPDX-License-Identifier: MIT
#include "PairingCodes.hpp"

#include <algorithm>
#include <utility>

#include "Secrets.hpp"

namespace idlewyn::relay {

std::string PairingCodes::make(Date now, std::string label) {
  std::string code = randomText(alphabet, length_);
  add(code, now, std::move(label));
  return code;
}

void PairingCodes::add(std::string code, Date now, std::string label) {
  std::erase_if(codes_, [&](const Code& old) { return old.expires <= now || old.text == code; });
  codes_.push_back({std::move(code), std::move(label), now + lifetime});
}

bool PairingCodes::use(AgentProvider provider, std::string_view code, Date now) {
  Code* found = nullptr;
  for (Code& known : codes_) {
    if (isSameSecret(known.text, code)) found = &known;
  }
  const auto agent = static_cast<std::size_t>(provider);
  if (found == nullptr || found->expires <= now || found->used[agent]) return false;
  found->used[agent] = true;
  return true;
}

std::string PairingCodes::labelOf(std::string_view code) const {
  const auto found = std::ranges::find(codes_, code, &Code::text);
  return found == codes_.end() ? std::string() : found->label;
}

}  // namespace idlewyn::relay
