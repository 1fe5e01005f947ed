// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

namespace idlewyn {
namespace {

void expectDescription(const KeychainError& error, const std::string& expected) {
  EXPECT_EQ(error.errorDescription(), expected);
  EXPECT_STREQ(error.what(), expected.c_str());
  EXPECT_EQ(errorDescription(std::make_exception_ptr(error)), expected);
}

TEST(KeychainError, IsDescribedByThePlatformElseByItsNumber) {
  expectDescription(KeychainError(-25308), *platform::KeychainStatus::message(-25308));
  expectDescription(KeychainError(7), "Keychain error 7");
  expectDescription(KeychainError(-12345), "Keychain error -12345");
  expectDescription(KeychainError(std::numeric_limits<std::int32_t>::min()),
                    "Keychain error -2147483648");
  for (std::int32_t status = -68000; status <= 1000; ++status) {
    const KeychainError error(status);
    const auto message = platform::KeychainStatus::message(status);
    if (message) expectDescription(error, *message);
    EXPECT_EQ(error.what(), error.errorDescription()) << status;
  }
}

TEST(KeychainError, IsAValueWhoseStatusCanBeSet) {
  KeychainError error(1);
  const KeychainError copy = error;
  EXPECT_EQ(error, copy);
  error.status = -25300;
  EXPECT_NE(error, copy);
  EXPECT_EQ(error, KeychainError(-25300));
  expectDescription(error, *platform::KeychainStatus::message(-25300));
  expectDescription(copy, "Keychain error 1");
}

}  // namespace
}  // namespace idlewyn
