// SPDX-License-Identifier: MIT
// What the store asks of a keychain, and what it makes of each answer.
#include <gtest/gtest.h>

#include <vector>

#include <IdlewynKit/storage/internal/KeychainItems.hpp>

#include "tests/storage/ScriptedKeychain.hpp"

namespace idlewyn {
namespace {

using testing::ScriptedKeychain;
using Group = std::optional<std::string>;
using Codes = std::deque<platform::KeychainStatus::Code>;

const Group none;
const Group group = "g";

struct Row {
  const char* why;
  Group accessGroup;
  Codes answers;
  const char* calls;
  const char* outcome;  // "ok", a value, "absent", or the number of a KeychainError
};

template <class Operation>
void expectRows(const std::vector<Row>& rows, Operation operation) {
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    ScriptedKeychain keychain(row.answers);
    keychain.item = Data::ofText("v");
    std::string outcome;
    try {
      outcome = operation(keychain, KeychainStore("s", row.accessGroup));
    } catch (const KeychainError& error) {
      outcome = std::to_string(error.status);
    }
    EXPECT_EQ(outcome, row.outcome);
    EXPECT_EQ(keychain.calls, row.calls);
  }
}

TEST(KeychainStore, ReadsWithGroupFallback) {
  const std::vector<Row> rows{
      {"found", none, {0}, "copy s/k", "v"},
      {"missing", none, {-25300}, "copy s/k", "absent"},
      {"locked", none, {-25308}, "copy s/k", "-25308"},
      {"no group to fall back from", none, {-34018}, "copy s/k", "-34018"},
      {"found in the group", group, {0}, "copy s/k@g", "v"},
      {"missing in the group is missing", group, {-25300}, "copy s/k@g", "absent"},
      {"locked in the group", group, {-25308}, "copy s/k@g", "-25308"},
      {"not entitled, found", group, {-34018, 0}, "copy s/k@g, copy s/k", "v"},
      {"not entitled, missing", group, {-34018, -25300}, "copy s/k@g, copy s/k", "absent"},
      {"not entitled, locked", group, {-34018, -25308}, "copy s/k@g, copy s/k", "-25308"},
      {"falls back once", group, {-34018, -34018}, "copy s/k@g, copy s/k", "-34018"},
      {"an empty group is one", "", {-34018, 0}, "copy s/k@, copy s/k", "v"},
      {"a positive status", none, {1}, "copy s/k", "1"},
  };
  const auto read = [](ScriptedKeychain& keychain, const KeychainStore& store) {
    const auto data = internal::readItem(keychain, store, "k");
    return data ? data->storage : "absent";
  };
  expectRows(rows, read);

  ScriptedKeychain keychain({0, -34018, 0});
  EXPECT_EQ(read(keychain, KeychainStore("s")), "absent") << "what is no bytes";
  EXPECT_EQ(read(keychain, KeychainStore("s", group)), "absent") << "what is no bytes";
}

TEST(KeychainStore, UpdatesThenAddsEachWithGroupFallback) {
  const std::vector<Row> rows{
      {"updated", none, {0}, "update s/k new", "ok"},
      {"added", none, {-25300, 0}, "update s/k new, add s/k new", "ok"},
      {"locked", none, {-25308}, "update s/k new", "-25308"},
      {"no group to fall back from", none, {-34018}, "update s/k new", "-34018"},
      {"nor at adding", none, {-25300, -34018}, "update s/k new, add s/k new", "-34018"},
      {"another added it", none, {-25300, -25299}, "update s/k new, add s/k new", "-25299"},
      {"gone while adding", none, {-25300, -25300}, "update s/k new, add s/k new", "-25300"},
      {"updated in the group", group, {0}, "update s/k@g new", "ok"},
      {"added to the group", group, {-25300, 0}, "update s/k@g new, add s/k@g new", "ok"},
      {"locked in the group", group, {-25308}, "update s/k@g new", "-25308"},
      {"not entitled, updated", group, {-34018, 0}, "update s/k@g new, update s/k new", "ok"},
      {"not entitled, locked",
       group,
       {-34018, -25308},
       "update s/k@g new, update s/k new",
       "-25308"},
      {"the add tries the group again",
       group,
       {-34018, -25300, 0},
       "update s/k@g new, update s/k new, add s/k@g new",
       "ok"},
      {"not entitled, added",
       group,
       {-34018, -25300, -34018, 0},
       "update s/k@g new, update s/k new, add s/k@g new, add s/k new",
       "ok"},
      {"only the add not entitled",
       group,
       {-25300, -34018, 0},
       "update s/k@g new, add s/k@g new, add s/k new",
       "ok"},
      {"the last status counts",
       group,
       {-34018, -25300, -34018, -25299},
       "update s/k@g new, update s/k new, add s/k@g new, add s/k new",
       "-25299"},
      {"each falls back once",
       group,
       {-34018, -34018},
       "update s/k@g new, update s/k new",
       "-34018"},
  };
  expectRows(rows, [](ScriptedKeychain& keychain, const KeychainStore& store) {
    internal::writeItem(keychain, store, Data::ofText("new"), "k");
    return std::string("ok");
  });
}

TEST(KeychainStore, RemovesWithGroupFallback) {
  const std::vector<Row> rows{
      {"removed", none, {0}, "remove s/k", "ok"},
      {"missing", none, {-25300}, "remove s/k", "ok"},
      {"locked", none, {-25308}, "remove s/k", "-25308"},
      {"no group to fall back from", none, {-34018}, "remove s/k", "-34018"},
      {"removed from the group", group, {0}, "remove s/k@g", "ok"},
      {"missing in the group", group, {-25300}, "remove s/k@g", "ok"},
      {"unreachable", group, {-25291}, "remove s/k@g", "-25291"},
      {"not entitled, removed", group, {-34018, 0}, "remove s/k@g, remove s/k", "ok"},
      {"not entitled, missing", group, {-34018, -25300}, "remove s/k@g, remove s/k", "ok"},
      {"not entitled, locked", group, {-34018, -25308}, "remove s/k@g, remove s/k", "-25308"},
      {"falls back once", group, {-34018, -34018}, "remove s/k@g, remove s/k", "-34018"},
  };
  expectRows(rows, [](ScriptedKeychain& keychain, const KeychainStore& store) {
    internal::removeItem(keychain, store, "k");
    return std::string("ok");
  });
}

TEST(KeychainStore, IsAValueOfServiceAndGroup) {
  KeychainStore store("s");
  EXPECT_EQ(store.accessGroup, std::nullopt);
  EXPECT_NE(store, KeychainStore("s", "")) << "an empty group is not an absent one";
  store.accessGroup = "g";
  EXPECT_EQ(store, KeychainStore("s", "g"));
  EXPECT_EQ(std::hash<KeychainStore>()(store), std::hash<KeychainStore>()(KeychainStore("s", "g")));
  store.service = "t";
  EXPECT_NE(store, KeychainStore("s", "g"));
}

}  // namespace
}  // namespace idlewyn
