// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <boost/json.hpp>

/// Reads what agents send. Their documents change from version to version, so nothing here
/// throws over a member that is missing or of another type.
///
///     const auto message = json::parsed(line);
///     if (message && json::text(*message, "method") == "turn/started") begin(*message);
namespace idlewyn::relay::json {

using Object = boost::json::object;
using Value = boost::json::value;

/// No value unless `text` is one JSON object, in UTF-8, at most 64 levels deep.
std::optional<Object> parsed(std::string_view text);

/// The member's text; empty when it is missing or something else.
std::string_view text(const Object& object, std::string_view name);
/// The member's number, rounded towards zero.
std::optional<std::int64_t> number(const Object& object, std::string_view name);
bool isTrue(const Object& object, std::string_view name);
/// The member that is an object or a list; null when it is missing or something else.
const Object* object(const Object& object, std::string_view name);
const boost::json::array* list(const Object& object, std::string_view name);

}  // namespace idlewyn::relay::json
