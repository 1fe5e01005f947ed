// SPDX-License-Identifier: MIT
// An information dictionary gives what the decoder reads from the same text.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <tuple>

#include <IdlewynKit/platform/bundle/internal/Information.hpp>
#include <IdlewynKit/platform/coding/JSONDecoder.hpp>

#include "support/Require.hpp"

using namespace idlewyn::platform;
using idlewyn::fuzz::require;

namespace {

template <class T>
struct Entry {
  explicit Entry(DecodingKey) {}
  static constexpr auto fields() { return std::tuple{field("k", &Entry::value)}; }

  std::optional<T> value;
};

template <class T>
void requireSame(std::string_view text, const internal::InformationValues& values) {
  const PlainJSONDecoder decoder;
  std::optional<T> expected;
  try {
    expected = decoder.decode<Entry<T>>(text).value;
  } catch (const DecodingError&) {
    return;  // no JSON, or another type
  }
  const auto found = values.find("k");
  require(expected.has_value() == (found != values.end()));
  if (expected) require(decoder.decode<T>(found->second) == *expected);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text = idlewyn::fuzz::asText(bytes, size);
  const auto values = internal::informationValues(text);
  for (const auto& [key, value] : values) {
    // Each is a JSON text of its own: as the one element of a list it is parsed, of whatever type.
    const std::string list = "{\"k\":" + value + "}";
    require(internal::informationValues(list).contains("k"));
  }
  requireSame<std::string>(text, values);
  requireSame<std::vector<std::string>>(text, values);
  requireSame<double>(text, values);
  requireSame<bool>(text, values);
  return 0;
}
