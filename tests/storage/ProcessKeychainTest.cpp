// SPDX-License-Identifier: MIT
// The stores on the real keychains of a process, which are chosen once: each case is a process.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/ConnectionStore.hpp>
#include <IdlewynKit/storage/internal/ProcessKeychain.hpp>

#include "tests/support/Files.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn {
namespace {

using Groups = std::vector<std::string>;
const std::string appGroup(AppGroup::identifier);

TEST(ProcessKeychain, GrantsWhatTheApplicationsInformationLists) {
  const std::pair<const char*, Groups> rows[] = {
      {"", {appGroup}},
      {R"({"KeychainAccessGroups":null})", {appGroup}},
      {R"({"KeychainAccessGroups":["b","a"]})", {"b", "a"}},
      {R"({"KeychainAccessGroups":[]})", {}},
      {R"({"KeychainAccessGroups":["a",1]})", {}},
  };
  const testing::TemporaryFolder folder;
  const auto file = folder.path() / "info.json";
  for (const auto& [information, groups] : rows) {
    testing::overwrite(file, information);
    EXPECT_EQ(internal::grantedAccessGroups(platform::Bundle(file)), groups) << information;
  }
}

// Ends the process unless it holds.
void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what);
  std::_Exit(1);
}

void expectInProcesses(const char* information, const std::function<void()>& behaviour) {
  for (const char* place : {"memory", "file"}) {
    const testing::TemporaryFolder folder;
    const auto file = folder.path() / "info.json";
    testing::overwrite(file, information);
    const auto run = [&] {
      setenv("IDLEWYN_KEYCHAIN", place, 1);
      setenv("IDLEWYN_DATA_DIR", (folder.path() / "data").c_str(), 1);
      setenv("IDLEWYN_INFO", file.c_str(), 1);
      behaviour();
      std::_Exit(0);
    };
    EXPECT_EXIT(run(), ::testing::ExitedWithCode(0), "") << place;
  }
}

std::optional<std::string> textIn(const KeychainStore& store, const char* key) {
  const auto data = store.data(key);
  return data ? std::optional(data->storage) : std::nullopt;
}

TEST(KeychainStore, ReadsWritesAndRemovesByKeyInGrantedGroupsAndWithoutOne) {
  expectInProcesses(R"({"KeychainAccessGroups":["g1","g2"]})", [] {
    for (const char* group : {"", "g1", "not granted"}) {
      const KeychainStore store("s", *group ? std::optional<std::string>(group) : std::nullopt);
      require(!store.data("never"), "what was never written is absent");
      store.removeValue("never");
      store.set(Data::ofText("first"), "k");
      store.set(Data{0, 255, 10}, "k");
      store.set(Data(), "empty");
      require(store.data("k") == Data({0, 255, 10}), "the second value stays");
      require(store.data("empty") == Data(), "an empty value is one");
      require(!KeychainStore("t", store.accessGroup).data("k"), "another service");
      store.removeValue("k");
      require(!store.data("k") && store.data("empty"), "one item was removed");
      store.removeValue("empty");
    }
    const KeychainStore one("s", "g1"), other("s", "g2"), any("s"), unnamed("s", ""),
        unlisted("s", "not granted");
    other.set(Data::ofText("in g2"), "k");
    require(!one.data("k"), "an item outside the group is absent");
    require(textIn(any, "k") == "in g2", "without a group it is found");
    one.removeValue("k");
    one.set(Data::ofText("in g1"), "k");
    require(textIn(other, "k") == "in g2" && textIn(one, "k") == "in g1", "an item each");
    unlisted.set(Data::ofText("in none"), "own");
    require(!one.data("own") && !other.data("own"), "an item without a group is in none");
    require(textIn(any, "own") == "in none", "written where no group is named");
    unnamed.set(Data::ofText("again"), "own");
    require(textIn(unlisted, "own") == "again", "an empty group is like one that isn't granted");
    unlisted.removeValue("own");
    require(!any.data("own"), "removed where no group is named");
  });
}

TEST(ConnectionStore, KeepsTheListInTheKeychainOfTheProduct) {
  expectInProcesses("", [] {
    const ConnectionStore& store = ConnectionStore::shared();
    require(store.keychain.service.ends_with(".connections"), "of a service of its own");
    require(store.keychain.accessGroup == appGroup, "of the product's group");
    require(store.load().empty(), "nothing is stored at first");
    store.save({});
    const std::vector<Connection> two{
        Connection(AgentProvider::codex, URL::parse("https://relay.example/r"), "token", "Me",
                   platform::DateClock::now(), "abcd"),
        Connection::demo(AgentProvider::claude)};
    store.save(two);
    require(store.load() == two, "saved and loaded");
    const auto match = platform::Keychain::open({appGroup})
                           ->copyMatching({store.keychain.service, "connections", appGroup});
    require(match.status == 0 && match.data, "in the group of the product");
    store.save({});
    require(!store.keychain.data("connections"), "an empty list leaves no item");
  });
}

}  // namespace
}  // namespace idlewyn
