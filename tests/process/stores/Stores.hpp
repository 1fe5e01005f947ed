// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

/// What both stores have in common, so that one test serves both.
namespace idlewyn::testing {

struct TestedStore {
  /// "ok", or what went wrong: a status of the keychain, "no suite" or "false" of the defaults.
  std::function<std::string(const std::string& key, const std::string& value)> put;
  /// The value, "absent", or as above.
  std::function<std::string(const std::string& key)> get;
};

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

  std::string put(const std::string& value) { return store_.put("key", value); }
  std::string get() { return store_.get("key"); }
  const TestedStore& store() const { return store_; }

  /// Another process stores the value under "key" and ends; nothing is open here.
  void storeElsewhere(const std::string& value);

 private:
  TemporaryFolder folder_;
  std::filesystem::path file_;
  TestedStore store_;
};

std::string contentOf(const std::filesystem::path& file);
void overwrite(const std::filesystem::path& file, const std::string& content);

}  // namespace idlewyn::testing
