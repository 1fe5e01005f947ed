// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <cstring>

#include <IdlewynKit/platform/coding/internal/DecodingFaults.hpp>
#include <IdlewynKit/platform/coding/internal/KeyTable.hpp>
#include <IdlewynKit/platform/coding/internal/ValueReader.hpp>
#include <IdlewynKit/platform/coding/internal/WideNumbers.hpp>

namespace idlewyn::platform::internal {
namespace {

namespace dom = simdjson::dom;
using Kind = DecodingError::Kind;
using Type = dom::element_type;

/// Elements that room is made for at once: a hostile list is long and its elements are none.
constexpr std::size_t largestReservation = 4'096;

template <class T>
T& as(void* value) noexcept {
  return *static_cast<T*>(value);
}

/// The number of a numeric element that fits 64 signed bits and has no fraction.
bool readInteger(dom::element element, std::int64_t& value) noexcept {
  if (element.get(value) == simdjson::SUCCESS) return true;
  double wide = 0;
  if (!element.is_double() || element.get(wide) != simdjson::SUCCESS) return false;
  constexpr double limit = 9'223'372'036'854'775'808.0;
  // Not even the least integer: integers below it, which the parser takes as doubles, round to it.
  if (!(wide > -limit && wide < limit)) return false;
  value = static_cast<std::int64_t>(wide);
  return static_cast<double>(value) == wide;
}

void storeCase(const Shape& shape, std::size_t index, void* value) noexcept {
  switch (shape.width) {
    case 1: as<std::uint8_t>(value) = static_cast<std::uint8_t>(index); break;
    case 2: as<std::uint16_t>(value) = static_cast<std::uint16_t>(index); break;
    case 4: as<std::uint32_t>(value) = static_cast<std::uint32_t>(index); break;
    default: as<std::uint64_t>(value) = index; break;
  }
}

bool readCase(const Shape& shape, std::string_view text, void* value) noexcept {
  const KeyEnds ends(text);
  std::size_t index = 0;
  while (index < shape.texts.size() && !isSame(shape.texts[index], text, ends))
    ++index;
  if (index == shape.texts.size()) {
    if (!shape.fallback) return false;
    index = *shape.fallback;
  }
  storeCase(shape, index, value);
  return true;
}

std::string_view nameOf(Type type) noexcept {
  switch (type) {
    case Type::ARRAY: return "a list";
    case Type::OBJECT: return "an object";
    case Type::STRING: return "a text";
    case Type::BOOL: return "a boolean";
    case Type::NULL_VALUE: return "null";
    default: return "a number";
  }
}

template <class T>
T expect(std::string_view expected, dom::element element, const PathStep* path) {
  T value{};
  if (element.get(value) != simdjson::SUCCESS) {
    throw mismatch(expected, nameOf(element.type()), path);
  }
  return value;
}

std::int64_t expectInteger(dom::element element, bool isNarrowed, const PathStep* path) {
  std::int64_t value = 0;
  if (readInteger(element, value)) return value;
  char digits[32];
  const auto wide = expect<double>("a number", element, path);
  if (isNarrowed && wide == beyondDouble) throw corrupted(tooLarge, path);
  const auto end = std::to_chars(digits, digits + sizeof digits, wide).ptr;
  throw corrupted("The number " + std::string(digits, end) + " is no 64-bit integer.", path);
}

}  // namespace

bool ValueReader::readNumber(dom::element element, double& value) const noexcept {
  return element.get(value) == simdjson::SUCCESS && !(isNarrowed_ && value == beyondDouble);
}

double ValueReader::number(dom::element element, const PathStep* path) const {
  double value = 0;
  if (readNumber(element, value)) return value;
  expect<double>("a number", element, path);
  throw corrupted(tooLarge, path);
}

Date ValueReader::date(dom::element element, const PathStep* path) const {
  if (!dates_) return dateFromReferenceSeconds(number(element, path));
  if (element.is_null()) throw mismatch("a date", nameOf(Type::NULL_VALUE), path);
  SingleValue value;
  value.path_ = path;
  if (element.get(value.text_) == simdjson::SUCCESS) {
    value.kind_ = SingleValue::Kind::text;
  } else if (element.is_double()) {
    value.kind_ = SingleValue::Kind::number;
    value.isTooLarge_ = !readNumber(element, value.number_);
  } else {
    value.text_ = nameOf(element.type());
  }
  return dates_(value);
}

bool ValueReader::readFast(const Shape& shape, dom::element element, void* value) const {
  switch (shape.kind) {
    case Shape::Kind::text: {
      std::string_view text;
      if (element.get(text) != simdjson::SUCCESS) return false;
      as<std::string>(value).assign(text);
      return true;
    }
    case Shape::Kind::integer: return readInteger(element, as<std::int64_t>(value));
    case Shape::Kind::number: return readNumber(element, as<double>(value));
    case Shape::Kind::boolean: return element.get(as<bool>(value)) == simdjson::SUCCESS;
    case Shape::Kind::date: as<Date>(value) = date(element, nullptr); return true;
    case Shape::Kind::closedSet: {
      std::string_view text;
      return element.get(text) == simdjson::SUCCESS && readCase(shape, text, value);
    }
    case Shape::Kind::url: {
      std::string_view text;
      if (element.get(text) != simdjson::SUCCESS) return false;
      auto url = URL::parse(text);
      if (!url) return false;
      as<URL>(value) = *std::move(url);
      return true;
    }
    case Shape::Kind::record: return readRecordFast(shape, element, value);
    case Shape::Kind::list: return readListFast(shape, element, value);
    case Shape::Kind::dictionary: break;
  }
  return false;
}

// One jump for a field's kind and whether it is optional: the order of fields is what a processor
// predicts worst here.
[[gnu::always_inline]] inline bool ValueReader::readFieldFast(const Shape& shape,
                                                              const KeySlot& slot,
                                                              dom::element element,
                                                              void* place) const {
  const FieldShape& field = shape.fields[slot.field];
  std::string_view text;
  switch (slot.access) {
    case FieldAccess::text:
      if (element.get(text) != simdjson::SUCCESS) return false;
      as<std::string>(place).assign(text);
      return true;
    case FieldAccess::optionalText:
      if (element.get(text) != simdjson::SUCCESS) return element.is_null();
      as<std::optional<std::string>>(place).emplace(text);
      return true;
    case FieldAccess::date: as<Date>(place) = date(element, nullptr); return true;
    case FieldAccess::optionalInteger: {
      std::int64_t integer = 0;
      if (!readInteger(element, integer)) return element.is_null();
      as<std::optional<std::int64_t>>(place) = integer;
      return true;
    }
    case FieldAccess::closedSet:
      return element.get(text) == simdjson::SUCCESS && readCase(*field.shape, text, place);
    case FieldAccess::other: return readFast(*field.shape, element, place);
    case FieldAccess::otherOptional:
      return element.is_null() || readFast(*field.shape, element, field.engage(place));
  }
  return false;
}

bool ValueReader::readRecordFast(const Shape& shape, dom::element element, void* value) const {
  dom::object object;
  if (element.get(object) != simdjson::SUCCESS) return false;
  std::uint64_t seen = 0;
  for (const dom::key_value_pair member : object) {
    const KeySlot* slot = findField(shape, member.key);
    if (slot == nullptr) continue;
    const std::uint64_t bit = std::uint64_t{1} << slot->field;
    if ((seen & bit) != 0) continue;
    seen |= bit;
    void* place = static_cast<std::byte*>(value) + slot->offset;
    if (!readFieldFast(shape, *slot, member.value, place)) return false;
  }
  return (shape.required & ~seen) == 0;
}

bool ValueReader::readListFast(const Shape& shape, dom::element element, void* value) const {
  dom::array array;
  if (element.get(array) != simdjson::SUCCESS) return false;
  shape.reserve(value, std::min(array.size(), largestReservation));
  for (const dom::element item : array) {
    if (!readFast(*shape.element, item, shape.append(value))) return false;
  }
  return true;
}

void ValueReader::readCarefully(const Shape& shape, dom::element element, void* value,
                                const PathStep* path) const {
  switch (shape.kind) {
    case Shape::Kind::text:
      as<std::string>(value).assign(expect<std::string_view>("a text", element, path));
      break;
    case Shape::Kind::integer:
      as<std::int64_t>(value) = expectInteger(element, isNarrowed_, path);
      break;
    case Shape::Kind::number: as<double>(value) = number(element, path); break;
    case Shape::Kind::boolean: as<bool>(value) = expect<bool>("a boolean", element, path); break;
    case Shape::Kind::date: as<Date>(value) = date(element, path); break;
    case Shape::Kind::closedSet: {
      const auto text = expect<std::string_view>("a text", element, path);
      if (readCase(shape, text, value)) break;
      throw corrupted(std::string(shape.typeName) + " has no case \"" + std::string(text) + "\".",
                      path);
    }
    case Shape::Kind::url: {
      auto url = URL::parse(expect<std::string_view>("a text", element, path));
      if (!url) throw corrupted("Invalid URL string.", path);
      as<URL>(value) = *std::move(url);
      break;
    }
    case Shape::Kind::record: readRecord(shape, element, value, path); break;
    case Shape::Kind::list: readList(shape, element, value, path); break;
    case Shape::Kind::dictionary: break;
  }
}

void ValueReader::readRecord(const Shape& shape, dom::element element, void* value,
                             const PathStep* path) const {
  const auto object = expect<dom::object>("an object", element, path);
  for (const FieldShape& field : shape.fields) {
    PathStep step{.parent = path, .key = field.name};
    dom::element member;
    if (object.at_key(field.name).get(member) != simdjson::SUCCESS) {
      if (field.isOptional) continue;
      throw DecodingError(Kind::keyNotFound, codingPath(path),
                          "No value for the key \"" + std::string(field.name) + "\".",
                          std::string(field.name));
    }
    void* place = static_cast<std::byte*>(value) + field.offset;
    if (field.isOptional) {
      if (member.is_null()) continue;
      place = field.engage(place);
    }
    readCarefully(*field.shape, member, place, &step);
  }
}

void ValueReader::readList(const Shape& shape, dom::element element, void* value,
                           const PathStep* path) const {
  const auto array = expect<dom::array>("a list", element, path);
  PathStep step{.parent = path, .isIndex = true};
  shape.reserve(value, std::min(array.size(), largestReservation));
  for (const dom::element item : array) {
    readCarefully(*shape.element, item, shape.append(value), &step);
    ++step.index;
  }
}

}  // namespace idlewyn::platform::internal
