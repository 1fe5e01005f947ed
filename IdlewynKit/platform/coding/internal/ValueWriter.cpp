// SPDX-License-Identifier: MIT
#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include <IdlewynKit/platform/base/UTF8.hpp>
#include <IdlewynKit/platform/coding/internal/ValueWriter.hpp>

namespace idlewyn::platform::internal {
namespace {

/// The most that is set aside on a guess.
constexpr std::size_t largestGuess = std::size_t{1} << 20;

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

/// Copies a text of at least eight bytes and tells whether all of it can stand as it is. The last
/// word overlaps the one before.
bool copyPlain(std::string_view text, char* to) noexcept {
  std::uint64_t word = 0;
  bool isPlain = true;
  for (std::size_t at = 0; at + sizeof word < text.size(); at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    std::memcpy(to + at, &word, sizeof word);
    isPlain = isPlain && !needsCare(word);
  }
  const std::size_t last = text.size() - sizeof word;
  std::memcpy(&word, text.data() + last, sizeof word);
  std::memcpy(to + last, &word, sizeof word);
  return isPlain && !needsCare(word);
}

bool copyShortPlain(std::string_view text, char* to) noexcept {
  bool isPlain = true;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    to[at] = text[at];
    isPlain = isPlain && byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
  }
  return isPlain;
}

void putEscaped(char c, OutputBuffer& json) {
  constexpr char digits[] = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '"': json.put("\\\""); break;
    case '\\': json.put("\\\\"); break;
    case '\b': json.put("\\b"); break;
    case '\f': json.put("\\f"); break;
    case '\n': json.put("\\n"); break;
    case '\r': json.put("\\r"); break;
    case '\t': json.put("\\t"); break;
    default:
      json.put("\\u00");
      json.put(digits[byte >> 4]);
      json.put(digits[byte & 0x0F]);
  }
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
    case Shape::Kind::integer: writeInteger(as<std::int64_t>(value)); break;
    case Shape::Kind::number: writeNumber(as<double>(value), path); break;
    case Shape::Kind::boolean: json_.put(as<bool>(value) ? "true" : "false"); break;
    case Shape::Kind::date: writeDate(as<Date>(value), path); break;
    case Shape::Kind::url: writeText(as<URL>(value).text(), path); break;
    case Shape::Kind::closedSet: writeCase(shape, value, path); break;
    case Shape::Kind::record: writeRecord(shape, value, path); break;
    case Shape::Kind::list: writeList(shape, value, path); break;
    case Shape::Kind::dictionary: writeDictionary(value, path); break;
  }
}

void ValueWriter::writeText(std::string_view text, const PathStep* path) {
  if (text.size() + 2 > OutputBuffer::capacity) {
    writeCarefully(text, path);
    return;
  }
  char* to = json_.room(text.size() + 2);
  to[0] = '"';
  const bool isPlain = text.size() < 8 ? copyShortPlain(text, to + 1) : copyPlain(text, to + 1);
  if (!isPlain) {
    writeCarefully(text, path);
    return;
  }
  to[text.size() + 1] = '"';
  json_.advance(text.size() + 2);
}

/// Any text: checked, and put in pieces between what is escaped. UTF-8 stands as it is.
void ValueWriter::writeCarefully(std::string_view text, const PathStep* path) {
  if (!isValidUTF8(text)) throw EncodingError(codingPath(path), "The text is not UTF-8.");
  json_.put('"');
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte >= 0x20 && byte != '"' && byte != '\\') continue;
    json_.put(text.substr(begin, at - begin));
    putEscaped(text[at], json_);
    begin = at + 1;
  }
  json_.put(text.substr(begin));
  json_.put('"');
}

void ValueWriter::writeCase(const Shape& shape, const void* value, const PathStep* path) {
  const std::size_t index = loadCase(shape, value);
  if (index >= shape.texts.size()) {
    throw EncodingError(codingPath(path), "The value is none of its type's cases.");
  }
  writeText(shape.texts[index], path);
}

void ValueWriter::writeInteger(std::int64_t value) {
  constexpr std::size_t room = 24;
  char* to = json_.room(room);
  json_.advance(static_cast<std::size_t>(std::to_chars(to, to + room, value).ptr - to));
}

void ValueWriter::writeNumber(double value, const PathStep* path) {
  if (!std::isfinite(value)) {
    throw EncodingError(codingPath(path), "JSON has no number for an infinity or for no number.");
  }
  // Without a fraction, the minus of a negative zero would be lost in reading.
  if (value == 0 && std::signbit(value)) {
    json_.put("-0.0");
    return;
  }
  const double magnitude = std::abs(value);
  const bool isModerate = value == 0 || (magnitude >= 1e-5 && magnitude < 1e15);
  const auto format = isModerate ? std::chars_format::fixed : std::chars_format::scientific;
  constexpr std::size_t room = 48;
  char* to = json_.room(room);
  json_.advance(static_cast<std::size_t>(std::to_chars(to, to + room, value, format).ptr - to));
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
    writePrefix(field, opening);
    opening = ',';
    step.key = field.name;
    if (field.shape->kind == Shape::Kind::text) {
      writeText(as<std::string>(value), &step);
    } else {
      write(*field.shape, value, &step);
    }
  }
  if (opening == '{') json_.put('{');
  json_.put('}');
}

/// The opening and the prefix. A short prefix is padded, so that its copy has a constant size.
void ValueWriter::writePrefix(const FieldShape& field, char opening) {
  constexpr std::size_t padded = FieldShape::paddedPrefix;
  if (field.prefixLength > padded) {
    json_.put(opening);
    json_.put(field.prefix);
    return;
  }
  char* to = json_.room(padded + 1);
  to[0] = opening;
  std::memcpy(to + 1, field.prefix.data(), padded);
  json_.advance(field.prefixLength + 1);
}

void ValueWriter::writeList(const Shape& shape, const void* list, const PathStep* path) {
  const auto contents = shape.contents(list);
  const std::size_t count = contents.size() / shape.stride;
  const std::size_t before = json_.size();
  PathStep step{.parent = path, .isIndex = true};
  json_.put('[');
  for (; step.index < count; ++step.index) {
    if (step.index > 0) json_.put(',');
    // The first elements tell about how much room all of them take, if they are like the rest.
    if (step.index == 16) {
      const std::size_t estimate = before + (json_.size() - before) / 15 * (count + 8);
      json_.reserve(std::min(estimate, json_.size() + largestGuess));
    }
    write(*shape.element, contents.data() + step.index * shape.stride, &step);
  }
  json_.put(']');
}

void ValueWriter::writeDictionary(const void* dictionary, const PathStep* path) {
  PathStep step{.parent = path};
  char opening = '{';
  for (const auto& [key, value] : as<std::map<std::string, std::string>>(dictionary)) {
    json_.put(opening);
    opening = ',';
    step.key = key;
    writeText(key, &step);
    json_.put(':');
    writeText(value, &step);
  }
  if (opening == '{') json_.put('{');
  json_.put('}');
}

}  // namespace idlewyn::platform::internal
