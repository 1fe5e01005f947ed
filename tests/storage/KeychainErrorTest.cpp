// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <set>

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
  std::set<std::string> sentences;
  for (std::int32_t status = -68000; status <= 1000; ++status) {
    const auto message = platform::KeychainStatus::message(status);
    expectDescription(KeychainError(status),
                      message.value_or("Keychain error " + std::to_string(status)));
    if (message) sentences.insert(*message);
  }
  EXPECT_EQ(sentences.size(), 12u) << "one for each status that has a name";
  EXPECT_FALSE(sentences.contains(""));
  expectDescription(KeychainError(7), "Keychain error 7");
  expectDescription(KeychainError(-12345), "Keychain error -12345");
}

TEST(KeychainError, IsAValueWhoseStatusCanBeSet) {
  KeychainError error(1);
  const KeychainError copy = error;
  error.status = -25300;
  EXPECT_EQ(error, KeychainError(-25300)) << "whatever its text was made for";
  EXPECT_NE(error, copy);
  expectDescription(error, *platform::KeychainStatus::message(-25300));
  expectDescription(copy, "Keychain error 1");
}

}  // namespace
}  // namespace idlewyn
