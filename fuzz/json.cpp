// SPDX-License-Identifier: MIT
// What decodes survives encoding and decoding; the quick reading and the careful one, and the
// reading in place and from a copy, agree on every document.
#include <optional>
#include <stdexcept>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/relay/internal/WireRecords.hpp>

#include "../tests/platform/coding/Records.hpp"
#include "support/Require.hpp"

using namespace idlewyn;
using platform::Data;
using platform::test::Everything;

namespace {

template <class T>
std::optional<T> decoded(const platform::PlainJSONDecoder& decoder, std::string_view json,
                         bool copies) {
  Data data = Data::ofText(std::string(json));
  if (!copies) data.storage.reserve(json.size() + 64);
  try {
    return copies ? decoder.decode<T>(json) : decoder.decode<T>(data);
  } catch (const DecodingError&) {
    return std::nullopt;
  } catch (const std::runtime_error&) {
    // The quick reading failed before it came to a date, so the careful one met the first.
    return std::nullopt;
  }
}

/// A decoder whose first date fails, so that every record with a date is read carefully.
platform::PlainJSONDecoder carefully(platform::PlainJSONDecoder decoder) {
  decoder.dateDecodingStrategy = [inner = decoder.dateDecodingStrategy,
                                  isFirst = true](const platform::SingleValue& value) mutable {
    if (std::exchange(isFirst, false)) throw std::runtime_error("first");
    return inner ? inner(value) : platform::dateFromReferenceSeconds(value.number());
  };
  return decoder;
}

template <class T>
void check(const platform::PlainJSONDecoder& decoder, const platform::PlainJSONEncoder& encoder,
           std::string_view json) {
  const auto value = decoded<T>(decoder, json, true);
  fuzz::require(decoded<T>(decoder, json, false) == value);
  fuzz::require(decoded<T>(carefully(decoder), json, true) == value);
  if (!value) return;
  const Data written = encoder.encode(*value);
  // Dates are written to the millisecond: what is read back may differ, but only once.
  const T again = decoder.decode<T>(written);
  fuzz::require(encoder.encode(again) == written);
  if (!encoder.dateEncodingStrategy) fuzz::require(again == *value);
}

// The relay's answers, which have no equality: what is read of them is compared as it is written.
template <class Answer>
void checkAnswer(std::string_view json) {
  const platform::PlainJSONDecoder decoder = JSONDecoder::relay();
  const platform::PlainJSONEncoder encoder = JSONEncoder::relay();
  const auto written = [&](const std::optional<Answer>& answer) {
    return answer ? std::optional(encoder.encode(*answer)) : std::nullopt;
  };
  const auto read = written(decoded<Answer>(decoder, json, true));
  fuzz::require(written(decoded<Answer>(decoder, json, false)) == read);
  fuzz::require(written(decoded<Answer>(carefully(decoder), json, true)) == read);
  if (read) fuzz::require(encoder.encode(decoder.decode<Answer>(*read)) == *read);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto json = fuzz::asText(data, size);
  check<Everything>(platform::PlainJSONDecoder(), platform::PlainJSONEncoder(), json);
  check<std::vector<double>>(platform::PlainJSONDecoder(), platform::PlainJSONEncoder(), json);
  check<SessionSnapshot>(JSONDecoder::relay(), JSONEncoder::relay(), json);
  check<AgentSession>(JSONDecoder::relay(), JSONEncoder::relay(), json);
  checkAnswer<internal::SessionsResponse>(json);
  checkAnswer<internal::PairResponse>(json);
  checkAnswer<internal::SettingsPayload>(json);
  checkAnswer<internal::OKResponse>(json);
  return 0;
}
