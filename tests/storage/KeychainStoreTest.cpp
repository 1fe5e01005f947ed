// SPDX-License-Identifier: MIT
// What the store asks of a keychain, and what it makes of each answer.
#include <gtest/gtest.h>

#include <sstream>

#include <IdlewynKit/storage/internal/KeychainItems.hpp>

#include "tests/storage/ScriptedKeychain.hpp"

namespace idlewyn {
namespace {

using testing::ScriptedKeychain;
using Group = std::optional<std::string>;
using Codes = std::deque<platform::KeychainStatus::Code>;

const Group none;
const Group group = "g";

// "update@, add" is to update in the group, then to add outside of any.
std::string callsOf(const std::string& verbs, std::string_view value) {
  std::string calls;
  std::istringstream stream(verbs);
  for (std::string verb; std::getline(stream, verb, ',');) {
    const bool isInGroup = verb.ends_with('@');
    if (isInGroup) verb.pop_back();
    calls += (calls.empty() ? "" : ",") + verb + (isInGroup ? " s/k@g" : " s/k");
    calls.append(value);
  }
  return calls;
}

// What came of it: "v" for what was read, "absent", "ok", or the number of a KeychainError.
template <class Operation>
void expectCalls(const Codes& answers, const Group& accessGroup, const std::string& calls,
                 const std::string& expected, Operation operation) {
  ScriptedKeychain keychain(answers);
  keychain.item = Data::ofText("v");
  std::string outcome;
  try {
    outcome = operation(keychain, KeychainStore("s", accessGroup));
  } catch (const KeychainError& error) {
    outcome = std::to_string(error.status);
  }
  EXPECT_EQ(outcome, expected);
  EXPECT_EQ(keychain.calls, calls);
}

std::string read(ScriptedKeychain& keychain, const KeychainStore& store) {
  const auto data = internal::readItem(keychain, store, "k");
  return data ? data->storage : "absent";
}

std::string remove(ScriptedKeychain& keychain, const KeychainStore& store) {
  internal::removeItem(keychain, store, "k");
  return "ok";
}

TEST(KeychainStore, ReadsAndRemovesWithGroupFallback) {
  struct Row {
    const char* why;
    Group accessGroup;
    Codes answers;
    const char *read, *removed;
  };
  const Row rows[]{
      {"missing", none, {-25300}, "absent", "ok"},
      {"locked", none, {-25308}, "-25308", "-25308"},
      {"no group to fall back from", none, {-34018}, "-34018", "-34018"},
      {"in the group", group, {0}, "v", "ok"},
      {"missing in the group is missing", group, {-25300}, "absent", "ok"},
      {"not entitled, there", group, {-34018, 0}, "v", "ok"},
      {"not entitled, missing", group, {-34018, -25300}, "absent", "ok"},
      {"not entitled, locked", group, {-34018, -25308}, "-25308", "-25308"},
      {"falls back once", group, {-34018, -34018}, "-34018", "-34018"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    const auto calls = [&](const std::string& verb) {
      const std::string second = row.answers.size() == 2 ? ", " + verb : "";
      return callsOf(verb + (row.accessGroup ? "@" : "") + second, "");
    };
    expectCalls(row.answers, row.accessGroup, calls("copy"), row.read, read);
    expectCalls(row.answers, row.accessGroup, calls("remove"), row.removed, remove);
  }
  expectCalls({-34018, 0}, "", "copy s/k@, copy s/k", "v", read);  // an empty group is one
  ScriptedKeychain noBytes({0});
  EXPECT_EQ(read(noBytes, KeychainStore("s")), "absent");
}

TEST(KeychainStore, UpdatesThenAddsEachWithGroupFallback) {
  struct Row {
    const char* why;
    Group accessGroup;
    Codes answers;
    const char *calls, *outcome;
  };
  const Row rows[]{
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
  for (const Row& row : rows) {
    SCOPED_TRACE(row.why);
    expectCalls(row.answers, row.accessGroup, callsOf(row.calls, " new"), row.outcome,
                [](ScriptedKeychain& keychain, const KeychainStore& store) {
                  internal::writeItem(keychain, store, Data::ofText("new"), "k");
                  return std::string("ok");
                });
  }
}

TEST(KeychainStore, IsAValueOfServiceAndGroup) {
  const KeychainStore store("s", "g");
  EXPECT_EQ(std::hash<KeychainStore>()(store), std::hash<KeychainStore>()(KeychainStore("s", "g")));
  EXPECT_NE(store, KeychainStore("t", "g"));
  EXPECT_NE(KeychainStore("s"), KeychainStore("s", "")) << "an empty group is not an absent one";
}

}  // namespace
}  // namespace idlewyn
