// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Where the parts of a JSON document stand in its text, so that one part can be added or taken
/// out while every other byte stays as it is.
///
///     const auto top = jsonParts(text, 0);
///     if (const JsonPart* hooks = top->member("hooks")) ...
namespace idlewyn::relay {

/// One member of an object, or one element of a list.
struct JsonPart {
  /// The member's name; empty in a list.
  std::string name;
  /// Where it begins: at the name, or at the element.
  std::size_t begin;
  /// Where its value begins and ends.
  std::size_t value;
  std::size_t end;
};

struct JsonParts {
  /// The last one of that name; null when there is none.
  const JsonPart* member(std::string_view name) const;

  char kind;
  /// Behind the opening and at the closing bracket.
  std::size_t begin;
  std::size_t end;
  std::vector<JsonPart> parts;
};

/// The parts of the object or list that begins at `at` in a valid document. No value when
/// something else stands there.
std::optional<JsonParts> jsonParts(std::string_view text, std::size_t at);

/// The text with `part` as the last part of a container.
std::string withPart(std::string_view text, const JsonParts& container, std::string_view part);
/// The text without that part, and without the comma that it needed.
std::string withoutPart(std::string_view text, const JsonParts& container, std::size_t index);

}  // namespace idlewyn::relay
