// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/Fingerprint.hpp>

#include <algorithm>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {
namespace {

constexpr std::size_t digits = 64;
constexpr std::string_view hexadecimal = "0123456789abcdef";

char lowered(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

bool isHexadecimal(char c) noexcept { return hexadecimal.find(c) != std::string_view::npos; }

// Without what only groups the digits.
std::string bare(std::string_view given) {
  std::string text;
  for (const char c : given) {
    if (c != ':' && std::string_view(" \t\r\n\v\f").find(c) == std::string_view::npos) {
      text += lowered(c);
    }
  }
  return text;
}

// "SHA256:", "sha256 Fingerprint=" and the like: the digits of the name would count as the pin's.
bool namesItsHash(std::string_view text) {
  return text.starts_with("sha256") || text.starts_with("sha-256") || text.starts_with("sha1") ||
         text.starts_with("md5");
}

}  // namespace

std::vector<std::string> fingerprintLines(std::string_view fingerprint) {
  constexpr std::size_t group = 4, line = 32;
  std::vector<std::string> lines;
  for (std::size_t i = 0; i < fingerprint.size(); i += group) {
    if (i % line == 0) {
      lines.emplace_back();
    } else {
      lines.back() += ' ';
    }
    lines.back() += fingerprint.substr(i, group);
  }
  return lines;
}

std::string parseFingerprint(std::string_view given) {
  std::string text = bare(given);
  if (namesItsHash(text)) {
    throw usageFailure(
        "That begins with the name of a hash. Give the 64 hexadecimal digits of the certificate's "
        "SHA-256 fingerprint alone; what SSH shows behind SHA256: is another kind of fingerprint.");
  }
  const auto found = static_cast<std::size_t>(std::ranges::count_if(text, isHexadecimal));
  if (found == digits && text.size() == digits) return text;
  std::string message =
      "A fingerprint has 64 hexadecimal digits; here are " + std::to_string(found);
  if (text.size() > found) message += " and something else";
  throw usageFailure(message + ".");
}

}  // namespace idlewyn::command
