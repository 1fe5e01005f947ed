// SPDX-License-Identifier: MIT
#include "Stores.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>
#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>

#include "ChildProcess.hpp"

namespace idlewyn::testing {
namespace {

namespace fs = std::filesystem;
using namespace idlewyn::platform;

TestedStore testedDefaults() {
  const auto suite = [] { return UserDefaults::suite("group.test"); };
  const auto put = [=](const std::string& key, const std::string& value) -> std::string {
    std::optional<UserDefaults> defaults = suite();
    if (!defaults) return "no suite";
    return defaults->set(key, Data::ofText(value)) ? "ok" : "false";
  };
  const auto get = [=](const std::string& key) -> std::string {
    const std::optional<UserDefaults> defaults = suite();
    if (!defaults) return "no suite";
    const std::optional<Data> data = defaults->data(key);
    return data ? data->storage : "absent";
  };
  return {put, get};
}

TestedStore testedKeychain(const fs::path& directory) {
  const std::shared_ptr<Keychain> keychain = makeFileKeychain(directory, {"group.test"});
  const auto put = [=](const std::string& key, const std::string& value) -> std::string {
    const KeychainQuery query("service", key, std::nullopt);
    const KeychainAttributes attributes(Data::ofText(value),
                                        KeychainAccessibility::afterFirstUnlock);
    KeychainStatus::Code status = keychain->update(query, attributes);
    if (status == KeychainStatus::itemNotFound) status = keychain->add(query, attributes);
    return status == KeychainStatus::success ? "ok" : std::to_string(status);
  };
  const auto get = [=](const std::string& key) -> std::string {
    const KeychainMatch match = keychain->copyMatching({"service", key, std::nullopt});
    if (match.status == KeychainStatus::itemNotFound) return "absent";
    return match.data ? match.data->storage : std::to_string(match.status);
  };
  return {put, get};
}

}  // namespace

StoreTest::StoreTest() {
  // Below a symbolic link, and where every character has to be quoted.
  const fs::path place = folder() / "a b%41?c#d", link = folder() / "link";
  fs::create_directory(place);
  fs::create_directory_symlink(place, link);
  setenv("IDLEWYN_DATA_DIR", link.c_str(), 1);
  file_ = link / perStore("keychain/keychain.sqlite3", "defaults/group.test.sqlite3");
  store_ = isKeychain() ? testedKeychain(file_.parent_path()) : testedDefaults();
  get();  // makes the database's object, for `database()`
}

StoreTest::~StoreTest() {
  std::error_code ignored;
  fs::permissions(file_.parent_path(), fs::perms::owner_all, ignored);
}

DatabaseFile& StoreTest::database() const {
  // The store has made the object; the format of a second look-up isn't used.
  return DatabaseFile::at(file_, {"", 0, DatabaseFile::Durability::process, false});
}

std::vector<fs::path> StoreTest::filesSetAside() const {
  std::vector<fs::path> found;
  for (const fs::directory_entry& entry : fs::directory_iterator(file_.parent_path())) {
    const std::string name = entry.path().filename().string();
    if (name.find(".damaged-") == std::string::npos) continue;
    if (!name.ends_with("-wal") && !name.ends_with("-shm")) found.push_back(entry.path());
  }
  return found;
}

void StoreTest::storeElsewhere(const std::string& value) {
  ChildProcess writer([&] {
    if (put(value) != "ok") return 1;
    std::exit(0);  // with what a process does at its end
  });
  ASSERT_EQ(writer.status(), 0);
}

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void overwrite(const fs::path& file, const std::string& content) {
  std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
}

}  // namespace idlewyn::testing
