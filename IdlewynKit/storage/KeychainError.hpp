// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <string>

#include <IdlewynKit/Export.hpp>

/// A keychain that refused, by its status.
///
///     try {
///       keychain.set(secret, "token");
///     } catch (const KeychainError& error) {
///       show(error.errorDescription());
///     }
namespace idlewyn {

/// A value: equal when the statuses are.
struct IDLEWYNKIT_EXPORT KeychainError : std::exception {
  explicit KeychainError(std::int32_t status);

  friend bool operator==(const KeychainError& a, const KeychainError& b) noexcept {
    return a.status == b.status;
  }

  /// The keychain's sentence for the status, else "Keychain error " and the status. Never empty.
  std::string errorDescription() const;
  /// The same. When `status` was assigned to after the construction, it is valid until the
  /// thread asks another such error.
  const char* what() const noexcept override;

  /// One of `platform::KeychainStatus` or a code of the back end's own.
  std::int32_t status;

 private:
  std::int32_t statusOfText_;
  std::array<char, 160> text_{};  // made early: `what` can't fail
};

}  // namespace idlewyn
