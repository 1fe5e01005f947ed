// SPDX-License-Identifier: MIT
// What the store asks of a keychain, and what it makes of each answer.
#include <gtest/gtest.h>

#include <regex>

#include <IdlewynKit/storage/internal/KeychainItems.hpp>

#include "tests/storage/ScriptedKeychain.hpp"

namespace idlewyn {
namespace {

using testing::ScriptedKeychain;
using Group = std::optional<std::string>;

const Group none;
const Group group = "g";

struct Row {
  const char* why;
  Group accessGroup;
  std::deque<platform::KeychainStatus::Code> answers;
  /// "update@, add" is to update in the group, then to add outside of any.
  std::string calls;
  /// What was read, "absent", "ok", or the number of a KeychainError.
  std::string outcome;
};

std::string perform(const std::string& verb, ScriptedKeychain& keychain,
                    const KeychainStore& store) {
  try {
    if (verb == "update") internal::writeItem(keychain, store, Data::ofText("new"), "k");
    if (verb == "remove") internal::removeItem(keychain, store, "k");
    if (verb != "copy") return "ok";
    const auto data = internal::readItem(keychain, store, "k");
    return data ? data->storage : "absent";
  } catch (const KeychainError& error) {
    return std::to_string(error.status);
  }
}

void expectCalls(const Row& row) {
  const std::string verb = row.calls.substr(0, row.calls.find_first_of(",@"));
  ScriptedKeychain keychain(row.answers);
  keychain.item = Data::ofText("v");
  EXPECT_EQ(perform(verb, keychain, KeychainStore("s", row.accessGroup)), row.outcome)
      << verb << ": " << row.why;
  const std::regex address(verb == "update" ? " s/k(?:(@)g)? new" : " s/k(?:(@)g)?");
  EXPECT_EQ(std::regex_replace(keychain.calls, address, "$1"), row.calls) << row.why;
}

TEST(KeychainStore, ReadsUpdatesThenAddsAndRemovesEachWithGroupFallback) {
  const Row rows[]{
      {"missing", none, {-25300}, "copy", "absent"},
      {"locked", none, {-25308}, "copy", "-25308"},
      {"no group to fall back from", none, {-34018}, "copy", "-34018"},
      {"in the group", group, {0}, "copy@", "v"},
      {"missing in the group is missing", group, {-25300}, "copy@", "absent"},
      {"not entitled, there", group, {-34018, 0}, "copy@, copy", "v"},
      {"not entitled, missing", group, {-34018, -25300}, "copy@, copy", "absent"},
      {"not entitled, locked", group, {-34018, -25308}, "copy@, copy", "-25308"},
      {"falls back once", group, {-34018, -34018}, "copy@, copy", "-34018"},
      {"added", none, {-25300, 0}, "update, add", "ok"},
      {"locked", none, {-25308}, "update", "-25308"},
      {"no group to fall back from", none, {-34018}, "update", "-34018"},
      {"another added it", none, {-25300, -25299}, "update, add", "-25299"},
      {"added to the group", group, {-25300, 0}, "update@, add@", "ok"},
      {"not entitled, updated", group, {-34018, 0}, "update@, update", "ok"},
      {"the add tries it again", group, {-34018, -25300, 0}, "update@, update, add@", "ok"},
      {"not added there", group, {-34018, -25300, -34018, 0}, "update@, update, add@, add", "ok"},
      {"only the add not entitled", group, {-25300, -34018, 0}, "update@, add@, add", "ok"},
      {"the last status counts", group, {-25300, -34018, -25299}, "update@, add@, add", "-25299"},
      {"each falls back once", group, {-34018, -34018}, "update@, update", "-34018"},
  };
  for (Row row : rows) {
    expectCalls(row);
    if (row.calls.starts_with("update")) continue;
    // What reads is removed after the same calls.
    row.calls = std::regex_replace(row.calls, std::regex("copy"), "remove");
    if (row.outcome == "v" || row.outcome == "absent") row.outcome = "ok";
    expectCalls(row);
  }
  ScriptedKeychain noBytes({0}), emptyGroup({-34018, 0});
  EXPECT_EQ(perform("copy", noBytes, KeychainStore("s")), "absent");
  EXPECT_EQ(perform("copy", emptyGroup, KeychainStore("s", "")), "absent");
  EXPECT_EQ(emptyGroup.calls, "copy s/k@, copy s/k") << "an empty group is one";
}

TEST(KeychainStore, IsAValueOfServiceAndGroup) {
  const KeychainStore store("s", "g");
  EXPECT_EQ(std::hash<KeychainStore>()(store), std::hash<KeychainStore>()(KeychainStore("s", "g")));
  EXPECT_NE(store, KeychainStore("t", "g"));
  EXPECT_NE(KeychainStore("s"), KeychainStore("s", "")) << "an empty group is not an absent one";
}

}  // namespace
}  // namespace idlewyn
