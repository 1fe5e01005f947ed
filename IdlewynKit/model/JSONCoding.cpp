// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/JSONCoding.hpp>

#include <string>

#include <IdlewynKit/platform/base/ISO8601.hpp>

namespace idlewyn {

namespace {

platform::Date decodeDate(const platform::SingleValue& value) {
  using platform::FractionOfSecond;
  const std::string_view text = value.text();
  if (auto date = platform::parseISO8601(text, FractionOfSecond::required)) return *date;
  if (auto date = platform::parseISO8601(text, FractionOfSecond::absent)) return *date;
  throw value.dataCorrupted("Invalid ISO-8601 date: " + std::string(text));
}

}  // namespace

JSONDecoder JSONDecoder::relay() {
  JSONDecoder decoder;
  decoder.dateDecodingStrategy = decodeDate;
  return decoder;
}

JSONEncoder JSONEncoder::relay() {
  JSONEncoder encoder;
  encoder.dateEncodingStrategy = platform::appendISO8601;
  return encoder;
}

}  // namespace idlewyn
