// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/URLRequest.hpp>

#include <algorithm>

#include <IdlewynKit/platform/net/internal/HTTPSyntax.hpp>

namespace idlewyn::platform {

void URLRequest::setHeader(std::string_view name, std::string value) {
  const auto same = [&](const auto& field) { return equalIgnoringCase(field.first, name); };
  const auto found = std::find_if(headers.begin(), headers.end(), same);
  if (found == headers.end()) {
    headers.emplace_back(std::string(name), std::move(value));
    return;
  }
  found->second = std::move(value);
  headers.erase(std::remove_if(found + 1, headers.end(), same), headers.end());
}

std::optional<std::string_view> URLRequest::header(std::string_view name) const noexcept {
  for (const auto& [fieldName, value] : headers) {
    if (equalIgnoringCase(fieldName, name)) return value;
  }
  return std::nullopt;
}

}  // namespace idlewyn::platform
