// SPDX-License-Identifier: MIT
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

/// What both stores have in common, so that one test serves both.
namespace idlewyn::testing {

class TestedStore {
 public:
  virtual ~TestedStore() = default;
  /// "ok", or what went wrong: a status of the keychain, "no suite" or "false" of the defaults.
  virtual std::string put(const std::string& key, const std::string& value) = 0;
  /// The value, "absent", or as above.
  virtual std::string get(const std::string& key) = 0;
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

  std::string put(const std::string& value) { return store_->put("key", value); }
  std::string get() { return store_->get("key"); }
  TestedStore& store() { return *store_; }

  /// Another process stores the value under "key" and ends; nothing is open here.
  void storeElsewhere(const std::string& value);

 private:
  TemporaryFolder folder_;
  std::filesystem::path file_;
  std::unique_ptr<TestedStore> store_;
};

std::string contentOf(const std::filesystem::path& file);
void overwrite(const std::filesystem::path& file, const std::string& content);

}  // namespace idlewyn::testing
