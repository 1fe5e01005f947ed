// SPDX-License-Identifier: MIT
#include <charconv>
#include <cmath>
#include <cstring>

#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/coding/ValueWriter.hpp>

namespace idlewyn::platform {
namespace {

template <class T>
const T& as(const void* value) noexcept {
  return *static_cast<const T*>(value);
}

/// Whether one of eight bytes is a quotation mark, a backslash, a control character or not ASCII.
bool needsCare(std::uint64_t word) noexcept {
  constexpr std::uint64_t ones = 0x0101'0101'0101'0101u;
  constexpr std::uint64_t highs = 0x8080'8080'8080'8080u;
  const std::uint64_t quotes = word ^ (ones * '"');
  const std::uint64_t slashes = word ^ (ones * '\\');
  // A borrow can only spread from a byte that is itself to be found, so there are no misses, and
  // the first byte found is a true one.
  return ((word | (word - ones * 0x20) | (quotes - ones) | (slashes - ones)) & highs) != 0;
}

/// How many bytes at the start of `text` are plain: nothing to escape and ASCII.
std::size_t plainLength(std::string_view text) noexcept {
  std::size_t at = 0;
  for (std::uint64_t word = 0; at + sizeof word <= text.size(); at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if (needsCare(word)) break;
  }
  for (; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 || byte >= 0x80 || byte == '"' || byte == '\\') break;
  }
  return at;
}

void appendEscaped(char c, std::string& json) {
  constexpr char digits[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '"': json += "\\\""; break;
    case '\\': json += "\\\\"; break;
    case '\b': json += "\\b"; break;
    case '\f': json += "\\f"; break;
    case '\n': json += "\\n"; break;
    case '\r': json += "\\r"; break;
    case '\t': json += "\\t"; break;
    default:
      json += "\\u00";
      json += digits[byte >> 4];
      json += digits[byte & 0x0F];
  }
}

/// Appends a text that is not all plain. UTF-8 stands as it is.
void appendWithEscapes(std::string_view text, std::string& json) {
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') continue;
    json.append(text, begin, at - begin);
    appendEscaped(text[at], json);
    begin = at + 1;
  }
  json.append(text, begin);
}

void appendInteger(std::int64_t value, std::string& json) {
  char digits[24];
  json.append(digits, std::to_chars(digits, digits + sizeof digits, value).ptr);
}

std::size_t loadCase(const Shape& shape, const void* value) noexcept {
  switch (shape.width) {
    case 1: return as<std::uint8_t>(value);
    case 2: return as<std::uint16_t>(value);
    case 4: return as<std::uint32_t>(value);
    default: return as<std::uint64_t>(value);
  }
}

}  // namespace

void ValueWriter::write(const Shape& shape, const void* value, const PathStep* path) {
  switch (shape.kind) {
    case Shape::Kind::text: writeText(as<std::string>(value), path); break;
    case Shape::Kind::integer: appendInteger(as<std::int64_t>(value), json_); break;
    case Shape::Kind::number: writeNumber(as<double>(value), path); break;
    case Shape::Kind::boolean: json_ += as<bool>(value) ? "true" : "false"; break;
    case Shape::Kind::date: writeDate(as<Date>(value), path); break;
    case Shape::Kind::url: writeText(as<URL>(value).text(), path); break;
    case Shape::Kind::closedSet: writeText(shape.texts[loadCase(shape, value)], path); break;
    case Shape::Kind::record: writeRecord(shape, value, path); break;
    case Shape::Kind::list: writeList(shape, value, path); break;
    case Shape::Kind::dictionary: writeDictionary(value, path); break;
  }
}

void ValueWriter::writeText(std::string_view text, const PathStep* path) {
  json_ += '"';
  const std::size_t plain = plainLength(text);
  json_.append(text.data(), plain);
  if (plain < text.size()) {
    text.remove_prefix(plain);
    if (!isValidUTF8(text)) throw EncodingError(codingPath(path), "The text is not UTF-8.");
    appendWithEscapes(text, json_);
  }
  json_ += '"';
}

void ValueWriter::writeNumber(double value, const PathStep* path) {
  if (!std::isfinite(value)) {
    throw EncodingError(codingPath(path), "JSON has no number for an infinity or for no number.");
  }
  // Without a fraction, the minus of a negative zero would be lost in reading.
  if (value == 0 && std::signbit(value)) {
    json_ += "-0.0";
    return;
  }
  const double magnitude = std::abs(value);
  const bool isModerate = value == 0 || (magnitude >= 1e-5 && magnitude < 1e15);
  const auto format = isModerate ? std::chars_format::fixed : std::chars_format::scientific;
  char digits[48];
  json_.append(digits, std::to_chars(digits, digits + sizeof digits, value, format).ptr);
}

void ValueWriter::writeDate(Date date, const PathStep* path) {
  if (!dates_) {
    writeNumber(secondsSinceReferenceDate(date), path);
    return;
  }
  dateText_.clear();
  dates_(date, dateText_);
  writeText(dateText_, path);
}

void ValueWriter::writeRecord(const Shape& shape, const void* record, const PathStep* path) {
  PathStep step{.parent = path};
  char opening = '{';
  for (const FieldShape& field : shape.fields) {
    const void* value = static_cast<const std::byte*>(record) + field.offset;
    if (field.isOptional) value = field.held(value);
    if (value == nullptr) continue;
    json_ += opening;
    opening = ',';
    json_ += field.prefix;
    step.key = field.name;
    write(*field.shape, value, &step);
  }
  if (opening == '{') json_ += '{';
  json_ += '}';
}

void ValueWriter::writeList(const Shape& shape, const void* list, const PathStep* path) {
  const auto contents = shape.contents(list);
  const std::size_t count = contents.size() / shape.stride;
  const std::size_t before = json_.size();
  PathStep step{.parent = path, .isIndex = true};
  json_ += '[';
  for (; step.index < count; ++step.index) {
    if (step.index > 0) json_ += ',';
    // The first elements tell about how much room all of them take.
    if (step.index == 16) json_.reserve(before + (json_.size() - before) / 15 * (count + 8));
    write(*shape.element, contents.data() + step.index * shape.stride, &step);
  }
  json_ += ']';
}

void ValueWriter::writeDictionary(const void* dictionary, const PathStep* path) {
  PathStep step{.parent = path};
  char opening = '{';
  for (const auto& [key, value] : as<std::map<std::string, std::string>>(dictionary)) {
    json_ += opening;
    opening = ',';
    step.key = key;
    writeText(key, &step);
    json_ += ':';
    writeText(value, &step);
  }
  if (opening == '{') json_ += '{';
  json_ += '}';
}

}  // namespace idlewyn::platform
