// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/CertificateDates.hpp>

#include <cstdint>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/base/ISO8601.hpp>

namespace idlewyn::command {
namespace {

using platform::Date;

constexpr std::uint8_t sequence = 0x30, version = 0xA0, utcTime = 0x17, generalizedTime = 0x18;

// One element of DER: a tag, a length, and so many bytes.
struct Element {
  std::uint8_t tag;
  std::string_view content;
};

std::uint8_t byteAt(std::string_view text, std::size_t index) {
  return static_cast<std::uint8_t>(text[index]);
}

// Takes the first element off; nothing when it is not whole.
std::optional<Element> take(std::string_view& rest) {
  if (rest.size() < 2) return std::nullopt;
  const std::uint8_t tag = byteAt(rest, 0);
  std::size_t length = byteAt(rest, 1), head = 2;
  if (length >= 0x80) {
    const std::size_t bytes = length & 0x7F;
    if (bytes == 0 || bytes > 4 || rest.size() < head + bytes) return std::nullopt;
    length = 0;
    for (std::size_t i = 0; i < bytes; ++i)
      length = length << 8 | byteAt(rest, head + i);
    head += bytes;
  }
  if (rest.size() - head < length) return std::nullopt;
  const Element element{tag, rest.substr(head, length)};
  rest.remove_prefix(head + length);
  return element;
}

std::optional<std::string_view> takeSequence(std::string_view& rest) {
  const auto element = take(rest);
  if (!element || element->tag != sequence) return std::nullopt;
  return element->content;
}

// YYMMDDhhmmssZ, of the years 1950 to 2049, or YYYYMMDDhhmmssZ.
std::optional<Date> takeTime(std::string_view& rest) {
  const auto element = take(rest);
  if (!element || (element->tag != utcTime && element->tag != generalizedTime)) return std::nullopt;
  std::string text(element->content);
  if (element->tag == utcTime) text = (text < "50" ? "20" : "19") + text;
  if (text.size() != 15) return std::nullopt;
  const auto part = [&](std::size_t from, std::size_t count) { return text.substr(from, count); };
  return platform::parseISO8601(part(0, 4) + "-" + part(4, 2) + "-" + part(6, 2) + "T" +
                                    part(8, 2) + ":" + part(10, 2) + ":" + part(12, 3),
                                platform::FractionOfSecond::absent);
}

}  // namespace

std::optional<std::pair<Date, Date>> validityOf(const platform::Data& der) {
  std::string_view rest = der.text();
  const auto certificate = takeSequence(rest);
  if (!certificate) return std::nullopt;
  rest = *certificate;
  const auto signedPart = takeSequence(rest);
  if (!signedPart) return std::nullopt;
  rest = *signedPart;
  if (!rest.empty() && byteAt(rest, 0) == version) take(rest);
  for (int skipped = 0; skipped < 3; ++skipped) {  // serial number, algorithm, issuer
    if (!take(rest)) return std::nullopt;
  }
  const auto validity = takeSequence(rest);
  if (!validity) return std::nullopt;
  rest = *validity;
  const auto from = takeTime(rest);
  const auto until = takeTime(rest);
  if (!from || !until) return std::nullopt;
  return std::pair(*from, *until);
}

}  // namespace idlewyn::command
