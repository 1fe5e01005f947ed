// SPDX-License-Identifier: MIT
#include "Stores.hpp"

#include <cstdlib>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>
#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>

#include "ChildProcess.hpp"

namespace idlewyn::testing {

namespace fs = std::filesystem;
using namespace idlewyn::platform;

StoreTest::StoreTest() {
  // Below a symbolic link, and where every character has to be quoted.
  const fs::path place = folder() / "a b%41?c#d", link = folder() / "link";
  fs::create_directory(place);
  fs::create_directory_symlink(place, link);
  setenv("IDLEWYN_DATA_DIR", link.c_str(), 1);
  file_ = link / perStore("keychain/keychain.sqlite3", "defaults/group.test.sqlite3");
  if (isKeychain()) keychain_ = makeFileKeychain(file_.parent_path(), {"group.test"});
  get();  // makes the database's object, for `database()`
}

StoreTest::~StoreTest() {
  std::error_code ignored;
  fs::permissions(file_.parent_path(), fs::perms::owner_all, ignored);
}

std::string StoreTest::put(const std::string& value, const std::string& key) const {
  if (!isKeychain()) {
    std::optional<UserDefaults> suite = UserDefaults::suite("group.test");
    if (!suite) return "no suite";
    return suite->set(key, Data::ofText(value)) ? "ok" : "false";
  }
  const KeychainQuery query("service", key, std::nullopt);
  const KeychainAttributes attributes(Data::ofText(value), KeychainAccessibility::afterFirstUnlock);
  KeychainStatus::Code status = keychain_->update(query, attributes);
  if (status == KeychainStatus::itemNotFound) status = keychain_->add(query, attributes);
  return status == KeychainStatus::success ? "ok" : std::to_string(status);
}

std::string StoreTest::get(const std::string& key) const {
  KeychainMatch match;
  if (isKeychain()) {
    match = keychain_->copyMatching({"service", key, std::nullopt});
  } else {
    const std::optional<UserDefaults> suite = UserDefaults::suite("group.test");
    if (!suite) return "no suite";
    match.data = suite->data(key);
  }
  if (match.data) return match.data->storage;
  return match.status == KeychainStatus::itemNotFound ? "absent" : std::to_string(match.status);
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

void StoreTest::storeElsewhere(const std::string& value) const {
  ChildProcess writer([&] {
    if (put(value) != "ok") return 1;
    std::exit(0);  // with what a process does at its end
  });
  ASSERT_EQ(writer.status(), 0);
}

}  // namespace idlewyn::testing
