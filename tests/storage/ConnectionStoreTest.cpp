// SPDX-License-Identifier: MIT
// The store on a keychain that answers as told; ProcessKeychainTest has it on a real one.
#include <gtest/gtest.h>

#include <IdlewynKit/platform/coding/EncodingError.hpp>
#include <IdlewynKit/storage/ConnectionStore.hpp>
#include <IdlewynKit/storage/internal/ConnectionItem.hpp>

#include "tests/storage/Golden.hpp"
#include "tests/storage/ScriptedKeychain.hpp"

namespace idlewyn {
namespace {

using testing::golden;
using testing::ScriptedKeychain;

const KeychainStore place("s", "g");

Connection pinned() {
  return Connection(AgentProvider::codex, URL::parse("https://relay.example:8443/r/"), "t", "Me",
                    platform::dateFromReferenceSeconds(794'491'629.25), "abcd");
}

Connection demo() {
  return Connection(AgentProvider::claude, std::nullopt, "mock", "Demo",
                    platform::dateFromReferenceSeconds(0.1), std::nullopt);
}

std::vector<Connection> loaded(std::string item) {
  ScriptedKeychain keychain({0});
  keychain.item = Data::ofText(std::move(item));
  auto connections = internal::loadConnections(keychain, place);
  EXPECT_EQ(keychain.calls, "copy s/connections@g") << "an item is only read";
  return connections;
}

TEST(ConnectionStore, KeepsTheListAsPlainJSONInItsOrder) {
  const std::string one = golden("connection-pinned"), other = golden("connection-demo");
  const std::string text = "[" + other + "," + one + "," + other + "]";
  const std::vector list{demo(), pinned(), demo()};
  ScriptedKeychain keychain({0});
  internal::saveConnections(keychain, place, list);
  EXPECT_EQ(keychain.calls, "update s/connections@g " + text);
  EXPECT_EQ(loaded(text), list);
}

TEST(ConnectionStore, ReadsWhateverIsNoListAsNone) {
  const std::string one = golden("connection-demo");
  const std::pair<const char*, std::string> rows[] = {
      {"nothing", ""},
      {"no JSON", "x"},
      {"one connection and no list", one},
      {"one good connection and one bad", "[" + one + ",{\"provider\":\"claude\"}]"},
      {"a relay's date", R"([{"provider":"codex","accessToken":"t","accountName":"a",)"
                         R"("connectedAt":"2026-11-24T08:00:00Z"}])"},
      {"an address that is none", R"([{"provider":"codex","serverURL":"a b","accessToken":"t",)"
                                  R"("accountName":"a","connectedAt":1}])"},
      {"something behind it", "[" + one + "]]"},
  };
  for (const auto& [why, item] : rows)
    EXPECT_EQ(loaded(item), std::vector<Connection>()) << why;
  EXPECT_EQ(loaded("[]"), std::vector<Connection>());
}

TEST(ConnectionStore, ReadsEveryKeychainFailureAsNoList) {
  for (const std::int32_t status : {-25300, -25308, -34018}) {
    ScriptedKeychain keychain({status});
    EXPECT_EQ(internal::loadConnections(keychain, KeychainStore("s")), std::vector<Connection>());
  }
  ScriptedKeychain noBytes({0});
  EXPECT_EQ(internal::loadConnections(noBytes, place), std::vector<Connection>());
}

TEST(ConnectionStore, ThrowsTheFirstFailureOfASave) {
  Connection unwritable = demo();
  unwritable.accountName = "\xFF";
  ScriptedKeychain untouched({});
  EXPECT_THROW(internal::saveConnections(untouched, place, {demo(), unwritable}),
               platform::EncodingError);
  EXPECT_EQ(untouched.calls, "");

  struct Row {
    std::vector<Connection> list;
    std::deque<std::int32_t> answers;
    std::int32_t status;  // 0 for none
  };
  const Row rows[] = {{{demo()}, {-25308}, -25308},
                      {{demo()}, {-25300, -25299}, -25299},
                      {{}, {-25300}, 0},
                      {{}, {-25308}, -25308}};
  for (const Row& row : rows) {
    ScriptedKeychain keychain(row.answers);
    std::int32_t status = 0;
    try {
      internal::saveConnections(keychain, place, row.list);
    } catch (const KeychainError& error) {
      status = error.status;
    }
    EXPECT_EQ(status, row.status) << keychain.calls;
    EXPECT_EQ(keychain.calls == "remove s/connections@g", row.list.empty()) << keychain.calls;
  }
}

}  // namespace
}  // namespace idlewyn
