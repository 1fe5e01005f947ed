// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/KeychainError.hpp>

#include <algorithm>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

namespace idlewyn {

namespace {

std::string description(std::int32_t status) {
  auto message = platform::KeychainStatus::message(status);
  return message ? *std::move(message) : "Keychain error " + std::to_string(status);
}

}  // namespace

KeychainError::KeychainError(std::int32_t code) : status(code), statusOfText_(code) {
  const std::string text = description(code);
  std::copy_n(text.begin(), std::min(text.size(), text_.size() - 1), text_.begin());
}

std::string KeychainError::errorDescription() const { return description(status); }

const char* KeychainError::what() const noexcept {
  if (status == statusOfText_) return text_.data();
  thread_local std::string text;
  try {
    text = description(status);
    return text.c_str();
  } catch (const std::exception&) {
    return "Keychain error";
  }
}

}  // namespace idlewyn
