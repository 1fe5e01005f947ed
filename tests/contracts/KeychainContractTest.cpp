// SPDX-License-Identifier: MIT
// What every keychain answers, whatever it keeps its items in.
#include <ctime>
#include <functional>
#include <map>
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>

#include "KeychainVerbs.hpp"
#include "KeyringSession.hpp"

namespace idlewyn::testing {
namespace {

using namespace platform;
using Code = KeychainStatus::Code;
using Optional = std::optional<std::string>;
using Groups = std::vector<std::string>;
/// Keychains of one empty place, one for each list of granted groups that is asked for.
using Place = std::function<std::shared_ptr<ListedKeychain>(Groups)>;

Place memoryPlace() {
  return [items = makeMemoryItems()](Groups groups) { return makeGroupedKeychain(items, groups); };
}

Place filePlace() {
  return [folder = std::make_shared<TemporaryFolder>()](Groups groups) {
    return makeFileKeychain(folder->path() / "keychain", groups);
  };
}

/// One keyring for all cases, emptied for each.
Place secretServicePlace() {
  KeyringSession::shared().enter();
  const auto items = sharedSecretServiceItems();
  for (const KeychainItem& item : items->list().items)
    items->erase({item.service, item.account, item.accessGroup});
  return [items](Groups groups) { return makeGroupedKeychain(items, groups); };
}

using BackEnd = std::pair<std::string, Place (*)()>;

class KeychainContract : public ::testing::TestWithParam<BackEnd> {
 protected:
  std::shared_ptr<ListedKeychain> keychain(Groups groups) const { return place_(groups); }

 private:
  const Place place_ = GetParam().second();
};
INSTANTIATE_TEST_SUITE_P(BackEnds, KeychainContract,
                         ::testing::Values(BackEnd("Memory", memoryPlace),
                                           BackEnd("File", filePlace),
                                           BackEnd("SecretService", secretServicePlace)),
                         [](const auto& tested) { return tested.param.first; });

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
      {"no text", "\xFF\x7F\x80\n"},
      {"nothing", ""},
      {"zero bytes at the ends", std::string("\0x\0", 3)},
      {"64 KiB", std::string(65536, '\xA5')},
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
      {"service", "account", std::nullopt}, {"Service", "account", std::nullopt},
      {"service", "", std::nullopt},        {"service", "account ", std::nullopt},
      {"", "account", std::nullopt},        {"service", "'; --\"\\", std::nullopt},
      {"service", "acc%unt", std::nullopt}, {"service", "accoünt", std::nullopt},
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
  for (const Groups& groups : {Groups{}, {"group"}}) {
    const auto keychain = this->keychain(groups);
    constexpr Code refused = KeychainStatus::missingEntitlement;
    expectEveryVerb(*keychain, token("other"), refused);
    EXPECT_EQ(valueOf(*keychain, token()), "-25300") << "another's group was searched";
    EXPECT_EQ(keychain->remove(token()), KeychainStatus::itemNotFound);
    EXPECT_EQ(keychain->add(token(""), attributes("y")), refused) << "the private group by name";
    EXPECT_EQ(keychain->copyMatching(token("")).status, refused);
  }
  EXPECT_EQ(valueOf(*keychain({"other"}), token("other")), "x");
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

  EXPECT_EQ(keychain->add(token(), attributes("old")), KeychainStatus::success);
  EXPECT_EQ(valueOf(*every, token("")), "old") << "a new item goes into the private group";
  EXPECT_EQ(every->add(token("a"), attributes("old")), KeychainStatus::success);
  EXPECT_EQ(keychain->update(token(), attributes("new")), KeychainStatus::success);
  for (const char* group : {"", "a"})
    EXPECT_EQ(valueOf(*every, token(group)), "new") << group;
  EXPECT_EQ(keychain->remove(token()), KeychainStatus::success);
  EXPECT_EQ(valueOf(*every, token(std::string())), "-25300");
  EXPECT_EQ(valueOf(*every, token("a")), "-25300");
  EXPECT_EQ(valueOf(*every, token("c")), "c") << "a group that was not granted was changed";
}

TEST_P(KeychainContract, AListingHoldsEverythingOfEveryItem) {
  const auto keychain = this->keychain({"group"}), owner = this->keychain({});
  const auto before = static_cast<double>(std::time(nullptr));
  const KeychainAttributes open(Data::ofText("open"), afterFirstUnlock);
  const KeychainAttributes closed(Data::ofText("closed"), KeychainAccessibility::whenUnlocked);
  EXPECT_EQ(keychain->add(token("group"), open), KeychainStatus::success);
  EXPECT_EQ(owner->add(token(), open), KeychainStatus::success);
  EXPECT_EQ(owner->update(token(), closed), KeychainStatus::success);

  const KeychainListing listing = owner->all();
  EXPECT_EQ(listing.status, KeychainStatus::success);
  ASSERT_EQ(listing.items.size(), 2u);
  for (const KeychainItem& item : listing.items) {
    const KeychainAttributes& expected = item.accessGroup.empty() ? closed : open;
    EXPECT_EQ(item.service + " " + item.account, "contract token");
    ASSERT_TRUE(item.attributes);
    EXPECT_EQ(item.attributes->value, expected.value);
    EXPECT_EQ(item.attributes->accessible, expected.accessible) << item.accessGroup;
    EXPECT_GE(static_cast<double>(item.modified.value()), before - 1);
    EXPECT_LE(static_cast<double>(item.modified.value()), std::time(nullptr) + 1);
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
