// SPDX-License-Identifier: MIT
#include <map>
#include <thread>

#include "KeychainContract.hpp"

namespace idlewyn::testing {
namespace {

using namespace platform;
using Code = KeychainStatus::Code;
using Optional = std::optional<std::string>;

constexpr auto afterFirstUnlock = KeychainAccessibility::afterFirstUnlock;

KeychainQuery token(Optional group = std::nullopt) { return {"contract", "token", group}; }

KeychainAttributes attributes(std::string value) {
  return {Data::ofText(std::move(value)), afterFirstUnlock};
}

/// The value, or the status in words.
std::string valueOf(Keychain& keychain, const KeychainQuery& query) {
  const KeychainMatch match = keychain.copyMatching(query);
  if (match.status != KeychainStatus::success) return std::to_string(match.status);
  return match.data ? std::string(match.data->text()) : "no bytes";
}

std::string allBytes() {
  std::string bytes;
  for (int i = 0; i < 256; ++i)
    bytes += static_cast<char>(i);
  return bytes;
}

TEST_P(KeychainContract, AnItemIsAbsentUntilItIsAddedAndAfterItIsRemoved) {
  const auto keychain = this->keychain({"group"});
  EXPECT_EQ(valueOf(*keychain, token()), "-25300");
  EXPECT_EQ(keychain->update(token(), attributes("x")), KeychainStatus::itemNotFound);
  EXPECT_EQ(keychain->remove(token()), KeychainStatus::itemNotFound);
  EXPECT_EQ(valueOf(*keychain, token()), "-25300") << "updating has made one";

  EXPECT_EQ(keychain->add(token(), attributes("one")), KeychainStatus::success);
  EXPECT_EQ(keychain->add(token(), attributes("two")), KeychainStatus::duplicateItem);
  EXPECT_EQ(valueOf(*keychain, token()), "one");
  EXPECT_EQ(keychain->update(token(), attributes("three")), KeychainStatus::success);
  EXPECT_EQ(valueOf(*keychain, token()), "three");
  EXPECT_EQ(keychain->all().items.size(), 1u);

  EXPECT_EQ(keychain->remove(token()), KeychainStatus::success);
  EXPECT_EQ(valueOf(*keychain, token()), "-25300");
}

TEST_P(KeychainContract, ValuesAreBytesOfAnySortAndLength) {
  const auto keychain = this->keychain({});
  const std::map<std::string, std::string> values{
      {"every byte", allBytes()},
      {"nothing", ""},
      {"zero bytes at the ends", std::string("\0x\0", 3)},
      {"64 KiB", std::string(65536, '\xA5')},
      {"text", "héllo"},
  };
  for (const auto& [name, value] : values) {
    const KeychainQuery query("contract", name, std::nullopt);
    EXPECT_EQ(keychain->add(query, attributes("before")), KeychainStatus::success) << name;
    EXPECT_EQ(keychain->update(query, attributes(value)), KeychainStatus::success) << name;
    EXPECT_TRUE(valueOf(*keychain, query) == value) << name << ", updated";
    EXPECT_EQ(keychain->remove(query), KeychainStatus::success) << name;
    EXPECT_EQ(keychain->add(query, attributes(value)), KeychainStatus::success) << name;
    EXPECT_TRUE(valueOf(*keychain, query) == value) << name << ", added";
  }
}

TEST_P(KeychainContract, AddressesAreComparedExactlyAndWhole) {
  const auto keychain = this->keychain({});
  // Each differs from the first in one way.
  const KeychainQuery queries[]{
      {"service", "account", std::nullopt},  {"Service", "account", std::nullopt},
      {"service", "account ", std::nullopt}, {"service", "", std::nullopt},
      {"", "account", std::nullopt},         {"account", "service", std::nullopt},
      {"service", "acc%unt", std::nullopt},  {"service", "'; --\"\\", std::nullopt},
      {"service", "accoünt", std::nullopt},
  };
  int number = 0;
  for (const KeychainQuery& query : queries) {
    EXPECT_EQ(keychain->add(query, attributes(std::to_string(number++))), KeychainStatus::success);
  }
  number = 0;
  for (const KeychainQuery& query : queries)
    EXPECT_EQ(valueOf(*keychain, query), std::to_string(number++)) << query.account;
}

TEST_P(KeychainContract, AGroupThatWasNotGrantedIsAMissingEntitlementForEveryVerb) {
  EXPECT_EQ(keychain({"other"})->add(token("other"), attributes("x")), KeychainStatus::success);
  for (const KeychainBackEnd::Groups& groups : {KeychainBackEnd::Groups{}, {"group"}}) {
    const auto keychain = this->keychain(groups);
    constexpr Code refused = KeychainStatus::missingEntitlement;
    EXPECT_EQ(keychain->copyMatching(token("other")).status, refused);
    EXPECT_EQ(keychain->add(token("other"), attributes("y")), refused);
    EXPECT_EQ(keychain->update(token("other"), attributes("y")), refused);
    EXPECT_EQ(keychain->remove(token("other")), refused);
    EXPECT_EQ(valueOf(*keychain, token()), "-25300") << "another's group was searched";
    EXPECT_EQ(keychain->remove(token()), KeychainStatus::itemNotFound);
    EXPECT_EQ(keychain->add(token(""), attributes("y")), refused) << "the private group by name";
    EXPECT_EQ(keychain->copyMatching(token("")).status, refused);
  }
  EXPECT_EQ(valueOf(*keychain({"other"}), token("other")), "x");
}

TEST_P(KeychainContract, ANewItemGoesIntoTheNamedElseThePrivateGroup) {
  struct Row {
    KeychainBackEnd::Groups granted;
    Optional named;
    std::string expected;
  };
  const Row rows[]{
      {{}, std::nullopt, ""},
      {{"b", "a"}, std::nullopt, ""},
      {{"b", "a"}, "a", "a"},
      {{"a", ""}, "", ""},
  };
  for (const Row& row : rows) {
    const auto keychain = this->keychain(row.granted);
    EXPECT_EQ(keychain->add(token(row.named), attributes("x")), KeychainStatus::success);
    const KeychainListing listing = keychain->all();
    ASSERT_EQ(listing.items.size(), 1u);
    EXPECT_EQ(listing.items.front().accessGroup, row.expected);
    for (const std::string& group : row.granted)
      EXPECT_EQ(valueOf(*keychain, token(group)), group == row.expected ? "x" : "-25300") << group;
    EXPECT_EQ(keychain->remove(token()), KeychainStatus::success);
  }
}

TEST_P(KeychainContract, WithoutAGroupTheVerbsActOnEveryGrantedGroupAndThePrivateOne) {
  const auto keychain = this->keychain({"b", "a"}), every = this->keychain({"a", "b", "c", ""});
  for (const char* group : {"", "a", "b", "c"})
    EXPECT_EQ(every->add(token(group), attributes(group)), KeychainStatus::success) << group;

  // Granted ones in their order, then the private one.
  for (const char* group : {"b", "a", ""}) {
    EXPECT_EQ(valueOf(*keychain, token()), group);
    EXPECT_EQ(every->remove(token(group)), KeychainStatus::success);
  }
  EXPECT_EQ(valueOf(*keychain, token()), "-25300");

  for (const char* group : {"", "a"})
    EXPECT_EQ(every->add(token(group), attributes("old")), KeychainStatus::success);
  EXPECT_EQ(keychain->update(token(), attributes("new")), KeychainStatus::success);
  for (const char* group : {"", "a"})
    EXPECT_EQ(valueOf(*every, token(group)), "new") << group;
  EXPECT_EQ(keychain->remove(token()), KeychainStatus::success);
  EXPECT_EQ(valueOf(*every, token(std::string())), "-25300");
  EXPECT_EQ(valueOf(*every, token("a")), "-25300");
  EXPECT_EQ(valueOf(*every, token("c")), "c") << "a group that was not granted was changed";
}

TEST_P(KeychainContract, AListingHoldsEverythingOfEveryItem) {
  using Seconds = std::chrono::duration<double>;
  const auto now = [] {
    return Seconds(std::chrono::system_clock::now().time_since_epoch()).count();
  };
  const auto keychain = this->keychain({"group"});
  const double before = now();
  const KeychainAttributes open(Data::ofText("open"), afterFirstUnlock);
  const KeychainAttributes closed(Data::ofText("closed"), KeychainAccessibility::whenUnlocked);
  EXPECT_EQ(keychain->add(token("group"), open), KeychainStatus::success);
  const auto owner = this->keychain({});
  EXPECT_EQ(owner->add(token(), open), KeychainStatus::success);
  EXPECT_EQ(owner->update(token(), closed), KeychainStatus::success);

  const KeychainListing listing = this->keychain({})->all();
  EXPECT_EQ(listing.status, KeychainStatus::success);
  ASSERT_EQ(listing.items.size(), 2u);
  for (const KeychainItem& item : listing.items) {
    const KeychainAttributes& expected = item.accessGroup.empty() ? closed : open;
    EXPECT_EQ(item.service, "contract");
    EXPECT_EQ(item.account, "token");
    ASSERT_TRUE(item.attributes);
    EXPECT_EQ(item.attributes->value, expected.value);
    EXPECT_EQ(item.attributes->accessible, expected.accessible) << item.accessGroup;
    EXPECT_GE(static_cast<double>(item.modified.value()), before - 1);
    EXPECT_LE(static_cast<double>(item.modified.value()), now() + 1);
  }
}

TEST_P(KeychainContract, ThreadsMayUseItAtOnce) {
  const auto keychain = this->keychain({});
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&, number] {
      const KeychainQuery own("contract", std::to_string(number), std::nullopt);
      EXPECT_EQ(keychain->add(own, attributes("0")), KeychainStatus::success);
      for (int round = 0; round < 10; ++round) {
        const std::string value = std::to_string(number * 100 + round);
        EXPECT_EQ(keychain->update(own, attributes(value)), KeychainStatus::success);
        EXPECT_EQ(valueOf(*keychain, own), value);
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(keychain->all().items.size(), 4u);
}

}  // namespace
}  // namespace idlewyn::testing
