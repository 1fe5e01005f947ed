// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Files.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/secrets/Keychain.hpp>
#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

/// What both stores have in common, so that one test serves both.
namespace idlewyn::testing {

/// A store in a folder of its own: the parameter tells whether it is the keychain.
class StoreTest : public ::testing::TestWithParam<bool> {
 protected:
  StoreTest();
  ~StoreTest() override;

  bool isKeychain() const { return GetParam(); }
  std::string perStore(const std::string& keychain, const std::string& defaults) const {
    return isKeychain() ? keychain : defaults;
  }
  const std::filesystem::path& folder() const { return folder_.path(); }
  const std::filesystem::path& file() const { return file_; }
  platform::DatabaseFile& database() const;
  std::vector<std::filesystem::path> filesSetAside() const;

  /// "ok", or what went wrong: a status of the keychain, "no suite" or "false" of the defaults.
  std::string put(const std::string& value, const std::string& key = "key") const;
  /// The value, "absent", or as above.
  std::string get(const std::string& key = "key") const;
  /// Another process stores the value under "key" and ends; nothing is open here.
  void storeElsewhere(const std::string& value) const;

 private:
  TemporaryFolder folder_;
  std::filesystem::path file_;
  std::shared_ptr<platform::Keychain> keychain_;
};

}  // namespace idlewyn::testing
