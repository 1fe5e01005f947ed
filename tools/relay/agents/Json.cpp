// SPDX-License-Identifier: MIT
#include <tools/relay/agents/Json.hpp>

#include <cmath>

// Boost.JSON is compiled here, so that no library of it is needed.
#include <boost/json/src.hpp>

namespace idlewyn::relay::json {

std::optional<Object> parsed(std::string_view text) {
  boost::json::error_code error;
  boost::json::parse_options options;
  options.max_depth = 64;
  Value value = boost::json::parse(text, error, {}, options);
  if (error || !value.is_object()) return std::nullopt;
  return std::move(value.get_object());
}

std::string_view text(const Object& object, std::string_view name) {
  const Value* value = object.if_contains(name);
  if (!value || !value->is_string()) return {};
  return std::string_view(value->get_string());
}

std::optional<std::int64_t> number(const Object& object, std::string_view name) {
  const Value* value = object.if_contains(name);
  if (!value) return std::nullopt;
  if (const auto* whole = value->if_int64()) return *whole;
  const double* real = value->if_double();
  if (!real || !(std::fabs(*real) < 9e15)) return std::nullopt;
  return static_cast<std::int64_t>(*real);
}

bool isTrue(const Object& object, std::string_view name) {
  const Value* value = object.if_contains(name);
  return value && value->is_bool() && value->get_bool();
}

const Object* object(const Object& object, std::string_view name) {
  const Value* value = object.if_contains(name);
  return value ? value->if_object() : nullptr;
}

const boost::json::array* list(const Object& object, std::string_view name) {
  const Value* value = object.if_contains(name);
  return value ? value->if_array() : nullptr;
}

}  // namespace idlewyn::relay::json
