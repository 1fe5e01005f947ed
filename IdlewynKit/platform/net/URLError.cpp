// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/URLError.hpp>

#include <utility>

namespace idlewyn::platform {
namespace {

std::optional<URL> withoutUserInfo(const std::optional<URL>& url) {
  if (!url) return std::nullopt;
  return url->withoutUserInfo();
}

}  // namespace

URLError::URLError(URLErrorCode code, std::optional<URL> failingURL, std::string reason)
    : code(code), failingURL(withoutUserInfo(failingURL)), reason(std::move(reason)) {}

}  // namespace idlewyn::platform
