// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/storage/KeychainError.hpp>

namespace idlewyn {
namespace {

TEST(KeychainError, IsDescribedByThePlatformElseByItsNumber) {
  std::set<std::string> sentences;
  for (std::int32_t status = -68000; status <= 1000; ++status) {
    const auto message = platform::KeychainStatus::message(status);
    const std::string expected = message.value_or("Keychain error " + std::to_string(status));
    const KeychainError error(status);
    EXPECT_EQ(error.errorDescription(), expected);
    EXPECT_EQ(error.what(), expected);
    EXPECT_EQ(errorDescription(std::make_exception_ptr(error)), expected);
    if (message) sentences.insert(*message);
  }
  EXPECT_EQ(sentences.size(), 12u) << "one for each status that has a name";
  EXPECT_FALSE(sentences.contains(""));
}

TEST(KeychainError, IsAValueWhoseStatusCanBeSet) {
  KeychainError error(1);
  const KeychainError copy = error;
  error.status = -12345;
  EXPECT_EQ(error, KeychainError(-12345)) << "whatever its text was made for";
  EXPECT_NE(error, copy);
  EXPECT_STREQ(error.what(), "Keychain error -12345");
  EXPECT_STREQ(copy.what(), "Keychain error 1");
}

}  // namespace
}  // namespace idlewyn
