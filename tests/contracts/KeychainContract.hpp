// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/ListedKeychain.hpp>

/// What every keychain answers, whatever it keeps its items in. A back end joins by
///
///     INSTANTIATE_TEST_SUITE_P(File, KeychainContract, testing::Values(KeychainBackEnd(...)));
namespace idlewyn::testing {

struct KeychainBackEnd {
  using Groups = std::vector<std::string>;
  /// Keychains of one empty place, one for each list of granted groups that is asked for.
  using Place = std::function<std::shared_ptr<platform::ListedKeychain>(Groups)>;

  KeychainBackEnd(std::string name, std::function<Place()> makePlace)
      : name(std::move(name)), makePlace(std::move(makePlace)) {}

  std::string name;
  std::function<Place()> makePlace;
};

class KeychainContract : public ::testing::TestWithParam<KeychainBackEnd> {
 protected:
  std::shared_ptr<platform::ListedKeychain> keychain(KeychainBackEnd::Groups groups) const {
    return place_(std::move(groups));
  }

 private:
  const KeychainBackEnd::Place place_ = GetParam().makePlace();
};

}  // namespace idlewyn::testing
