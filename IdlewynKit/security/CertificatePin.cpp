// SPDX-License-Identifier: MIT
#include <IdlewynKit/security/CertificatePin.hpp>

#include <map>
#include <mutex>

#include <IdlewynKit/platform/base/Base64.hpp>
#include <IdlewynKit/platform/base/Hexadecimal.hpp>
#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/base/internal/Files.hpp>
#include <IdlewynKit/platform/crypto/SHA256.hpp>
#include <IdlewynKit/platform/text/Unicode.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

namespace idlewyn {

namespace {

std::string fingerprintOf(const platform::Data& der) {
  return platform::hexadecimal(platform::sha256(der.bytes()));
}

std::string joinedBody(std::string_view text) {
  std::string body;
  while (!text.empty()) {
    const auto end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    if (!line.starts_with("-----")) body += line;
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return body;
}

// Pinned sessions of the process: added to, never removed from, never destroyed.
struct PinnedSessions {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<URLSession>> byPin;  // guarded by mutex
};

PinnedSessions& pinnedSessions() {
  static PinnedSessions& sessions = *new PinnedSessions;
  return sessions;
}

}  // namespace

std::string CertificatePin::normalized(std::string_view pin) {
  std::string digits;
  platform::forEachCharacter(platform::lowercased(pin), [&](std::string_view character) {
    if (platform::isHexDigit(character)) digits += character;
  });
  return digits;
}

std::string CertificatePin::fingerprint(const Certificate& certificate) {
  return fingerprintOf(certificate.der);
}

std::optional<std::string> CertificatePin::fingerprintOfPEM(const std::filesystem::path& file) {
  const auto text = platform::internal::contentsOf(file);
  if (!text || !platform::isValidUTF8(*text)) return std::nullopt;
  const auto der = platform::decodeBase64(joinedBody(*text));
  if (!der) return std::nullopt;
  return fingerprintOf(*der);
}

std::shared_ptr<URLSession> CertificatePin::session(std::string_view pin) {
  std::string key = normalized(pin);
  PinnedSessions& sessions = pinnedSessions();
  const std::lock_guard lock(sessions.mutex);
  auto& session = sessions.byPin[key];
  if (!session) session = URLSession::lasting(std::make_shared<PinningDelegate>(std::move(key)));
  return session;
}

}  // namespace idlewyn
