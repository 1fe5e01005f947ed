// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/Keychain.hpp>

namespace idlewyn::testing {

template <class Calls>
void expectWithin(std::chrono::milliseconds limit, Calls calls) {
  const auto begin = std::chrono::steady_clock::now();
  calls();
  EXPECT_LT(std::chrono::steady_clock::now() - begin, limit + std::chrono::milliseconds(500))
      << "with what a busy machine may take";
}

/// Each of the four, within the second that is promised.
inline void expectEveryVerb(platform::Keychain& keychain, const platform::KeychainQuery& query,
                            platform::KeychainStatus::Code expected) {
  const platform::KeychainAttributes attributes(platform::Data{1, 0, 2},
                                                platform::KeychainAccessibility::afterFirstUnlock);
  using std::chrono_literals::operator""s;
  expectWithin(1s, [&] { EXPECT_EQ(keychain.copyMatching(query).status, expected); });
  expectWithin(1s, [&] { EXPECT_EQ(keychain.add(query, attributes), expected); });
  expectWithin(1s, [&] { EXPECT_EQ(keychain.update(query, attributes), expected); });
  expectWithin(1s, [&] { EXPECT_EQ(keychain.remove(query), expected); });
}

}  // namespace idlewyn::testing
