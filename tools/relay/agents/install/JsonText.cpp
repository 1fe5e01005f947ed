// SPDX-License-Identifier: MIT
#include <tools/relay/agents/install/JsonText.hpp>

#include <tools/relay/agents/Json.hpp>

namespace idlewyn::relay {
namespace {

constexpr std::string_view blanks = " \t\r\n";

std::size_t skipBlanks(std::string_view text, std::size_t at) {
  const std::size_t found = text.find_first_not_of(blanks, at);
  return found == std::string_view::npos ? text.size() : found;
}

std::size_t skipString(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return at + 1;
}

/// Behind the value that begins at `at`. The document is known to be valid.
std::size_t skipValue(std::string_view text, std::size_t at) {
  std::size_t depth = 0;
  while (at < text.size()) {
    const char c = text[at];
    if (c == '"') {
      at = skipString(text, at);
    } else if (c == '{' || c == '[') {
      ++depth;
      ++at;
    } else if (c == '}' || c == ']') {
      if (depth == 0) return at;
      --depth;
      ++at;
    } else if (depth > 0) {
      ++at;
      continue;
    } else {
      const std::size_t end = text.find_first_of(",}] \t\r\n", at);
      return end == std::string_view::npos ? text.size() : end;
    }
    if (depth == 0) return at;
  }
  return at;
}

std::string nameAt(std::string_view text, std::size_t at, std::size_t end) {
  boost::json::error_code error;
  const auto value = boost::json::parse(text.substr(at, end - at), error);
  return error || !value.is_string() ? std::string() : std::string(value.get_string());
}

}  // namespace

const JsonPart* JsonParts::member(std::string_view name) const {
  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    if (part->name == name) return &*part;
  }
  return nullptr;
}

std::optional<JsonParts> jsonParts(std::string_view text, std::size_t at) {
  at = skipBlanks(text, at);
  if (at >= text.size() || (text[at] != '{' && text[at] != '[')) return std::nullopt;
  JsonParts result{text[at], at + 1, 0, {}};
  at = skipBlanks(text, at + 1);
  while (at < text.size() && text[at] != '}' && text[at] != ']') {
    JsonPart part{{}, at, at, 0};
    if (result.kind == '{') {
      const std::size_t end = skipString(text, at);
      part.name = nameAt(text, at, end);
      part.value = skipBlanks(text, skipBlanks(text, end) + 1);
    }
    part.end = skipValue(text, part.value);
    at = skipBlanks(text, part.end);
    if (at < text.size() && text[at] == ',') at = skipBlanks(text, at + 1);
    result.parts.push_back(std::move(part));
  }
  result.end = at;
  return result;
}

std::string withPart(std::string_view text, const JsonParts& container, std::string_view part) {
  const bool isEmpty = container.parts.empty();
  const std::size_t at = isEmpty ? container.begin : container.parts.back().end;
  std::string result(text.substr(0, at));
  result.append(isEmpty ? "" : ",").append(part);
  return result.append(text.substr(at));
}

std::string withoutPart(std::string_view text, const JsonParts& container, std::size_t index) {
  const JsonPart& part = container.parts[index];
  std::size_t begin = index > 0 ? container.parts[index - 1].end : container.begin;
  std::size_t end = part.end;
  // A first part takes the comma behind it along, and leaves the blanks before it to the next.
  if (index == 0 && container.parts.size() > 1) {
    begin = part.begin;
    end = container.parts[1].begin;
  }
  return std::string(text.substr(0, begin)).append(text.substr(end));
}

}  // namespace idlewyn::relay
