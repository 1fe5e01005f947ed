// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <tests/contracts/KeychainVerbs.hpp>
#include <tests/process/stores/ChildProcess.hpp>
#include <tests/support/Files.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include "StagedPlaces.hpp"

namespace idlewyn::platform {
namespace {

using testing::ChildProcess;
using testing::expectWithin;
using testing::StagedPlaces;
using Status = KeychainStatus;
using Word = std::optional<std::string>;
using namespace std::chrono_literals;

const KeychainQuery token("test", "token", std::nullopt);
const KeychainAttributes attributes(Data{7}, KeychainAccessibility::afterFirstUnlock);

struct SelectedKeychain : ::testing::Test {
  std::shared_ptr<Keychain> keychain(Word word = std::nullopt) const {
    return makeSelectedKeychain({word, directory, places}, {"group"});
  }
  KeychainReason reason(Word word = std::nullopt) const {
    return whereIn({word, directory, places}).reason;
  }
  std::string record() const { return testing::contentOf(directory / "place"); }
  void setRecord(const std::string& text) const { testing::overwrite(directory / "place", text); }
  std::string contents() const {
    const auto count = [](SecretItems& items) { return std::to_string(items.list().items.size()); };
    return count(*places->secretService) + " and " + count(*places->file);
  }
  static void expectNotAvailable(Keychain& broken) {
    testing::expectEveryVerb(broken, token, Status::notAvailable);
  }

  const testing::TemporaryFolder folder;
  const std::filesystem::path directory = folder.path() / "data" / "keychain";
  const std::shared_ptr<StagedPlaces> places = testing::placesInMemory();
};

TEST_F(SelectedKeychain, BeforeTheFirstWriteEverythingIsAbsentAndNothingIsDecided) {
  const auto undecided = keychain();
  EXPECT_EQ(undecided->copyMatching(token).status, Status::itemNotFound);
  EXPECT_EQ(undecided->update(token, attributes), Status::itemNotFound);
  EXPECT_EQ(undecided->remove(token), Status::itemNotFound);
  const KeychainQuery foreign("test", "token", "foreign");
  testing::expectEveryVerb(*undecided, foreign, Status::missingEntitlement);
  EXPECT_EQ(reason(), KeychainReason::undecided);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "data"));
}

TEST_F(SelectedKeychain, TheFirstWriteDecidesOnTheServiceWhereItCanKeepItems) {
  const std::pair<Status::Code, std::string> rows[]{
      {Status::success, "place secret-service\n"},
      {Status::notAvailable, "place file\n"},
      {Status::noDefaultKeychain, "place file\n"},
  };
  for (const auto& [reached, expected] : rows) {
    places->reached = reached;
    EXPECT_EQ(keychain()->add(token, attributes), Status::success);
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(reason(), KeychainReason::recorded);
    places->reached = reached == Status::success ? Status::notAvailable : Status::success;
    EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
    using std::filesystem::perms, std::filesystem::status;
    EXPECT_EQ(status(directory / "place").permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(status(directory).permissions(), perms::owner_all);
    if (reached == Status::success) {
      places->secretService->fail(Status::notAvailable);
      expectNotAvailable(*keychain());
      EXPECT_TRUE(places->file->list().items.empty()) << "the file never takes its place";
      places->secretService->mend();
    }
    EXPECT_EQ(keychain()->remove(token), Status::success);
    std::filesystem::remove(directory / "place");
  }
}

TEST_F(SelectedKeychain, WhatTheFileHoldsIsLookedAtBeforeItIsDecided) {
  for (const Status::Code unread : {Status::notAvailable, Status::ioError}) {
    places->file->fail(unread);
    EXPECT_EQ(keychain()->add(token, attributes), Status::notAvailable);
    EXPECT_EQ(record(), "");
  }
  places->file->mend();
  EXPECT_EQ(contents(), "0 and 0");
  places->file->insert({"test", "token", "group"}, attributes);
  EXPECT_EQ(keychain()->add({"test", "other", std::nullopt}, attributes), Status::success);
  EXPECT_EQ(record(), "place file\n") << "it has lost its record, and is not given up";
  EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
}

TEST_F(SelectedKeychain, ARecordThatIsNotUnderstoodIsKeptAndNoPlaceIsUsed) {
  const std::string texts[]{
      "",  // cut off
      "place file",
      "place memory\n",
      "place file\nleft secret-service 99999999999999999999\n",
      "place file\nleft secret-service 5\nmore\n",
      std::string(5000, 'x'),
  };
  for (const std::string& text : texts) {
    setRecord(text);
    expectNotAvailable(*keychain());
    EXPECT_EQ(reason(), KeychainReason::unreadableRecord) << text;
    EXPECT_EQ(record(), text);
  }
  // What root can't read either.
  std::filesystem::remove(directory / "place");
  std::filesystem::create_directory(directory / "place");
  expectNotAvailable(*keychain());
  EXPECT_EQ(moveWith({std::nullopt, directory, places}, KeychainPlace::file).status,
            Status::notAvailable);
  EXPECT_EQ(contents(), "0 and 0");
}

TEST_F(SelectedKeychain, WithoutAHomeOnlyWhatNeedsNoneCanBeUsed) {
  const auto homeless = [&](Word word) { return makeSelectedKeychain({word, {}, places}, {}); };
  EXPECT_EQ(homeless(std::nullopt)->copyMatching(token).status, Status::itemNotFound);
  EXPECT_EQ(homeless(std::nullopt)->add(token, attributes), Status::notAvailable);
  expectNotAvailable(*homeless("file"));
  EXPECT_EQ(homeless("secret-service")->add(token, attributes), Status::success);
}

TEST_F(SelectedKeychain, AHeldLockStopsWritersForSecondsAndReadersNever) {
  EXPECT_EQ(keychain()->add(token, attributes), Status::success);
  const KeychainLock held(directory, KeychainLock::Kind::exclusive);
  ASSERT_EQ(held.state(), KeychainLock::State::held);
  expectWithin(1s, [&] { EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value); });
  expectWithin(4s, [&] { EXPECT_EQ(keychain()->update(token, attributes), Status::notAvailable); });
}

TEST_F(SelectedKeychain, AChildOfWhoHeldTheLockDoesNotGoOnHoldingIt) {
  using Lock = KeychainLock;
  std::optional<Lock> held(std::in_place, directory, Lock::Kind::exclusive);
  ChildProcess child([] { return pause(); });
  held.reset();
  EXPECT_EQ(Lock(directory, Lock::Kind::exclusive).state(), Lock::State::held);
}

TEST_F(SelectedKeychain, WhatIsNoFileIsNoLockAndHoldsNobodyUp) {
  std::filesystem::create_directories(directory);
  ASSERT_EQ(mkfifo((directory / "lock").c_str(), 0400), 0);
  // Another user than root can't write to it, and would wait for one who does.
  expectWithin(1s, [&] {
    for (const auto kind : {KeychainLock::Kind::shared, KeychainLock::Kind::exclusive})
      EXPECT_EQ(KeychainLock(directory, kind).state(), KeychainLock::State::impossible);
    EXPECT_EQ(keychain()->add(token, attributes), Status::notAvailable);
  });
}

TEST_F(SelectedKeychain, FollowsNoLinkInTheLocksPlace) {
  std::filesystem::create_directories(directory);
  std::filesystem::create_symlink("elsewhere", directory / "lock");
  for (const auto kind : {KeychainLock::Kind::shared, KeychainLock::Kind::exclusive})
    EXPECT_EQ(KeychainLock(directory, kind).state(), KeychainLock::State::impossible);
  EXPECT_FALSE(std::filesystem::exists(directory / "elsewhere"));
}

TEST(MemoryKeychain, CanBeUsedInAChildWhateverItsParentsThreadsDid) {
  const auto items = sharedMemoryItems();
  const Data large = Data::ofText(std::string(1 << 20, 'x'));
  items->insert({"test", "fork", ""}, {large, KeychainAccessibility::whenUnlocked});
  std::atomic<bool> isOver = false;
  std::thread other([&] {
    while (!isOver)
      items->list();
  });
  for (int round = 0; round < 20; ++round) {
    ChildProcess child([&] { return items->read({"test", "fork", ""}).data ? 0 : 1; });
    EXPECT_EQ(child.status(), 0);
  }
  isOver = true;
  other.join();
  items->erase({"test", "fork", ""});
}

// Each of them finds another place reachable, so only agreement puts all items into one.
TEST_F(SelectedKeychain, ProcessesThatDecideAtOnceAgree) {
  for (int round = 0; round < 10; ++round) {
    const testing::TemporaryFolder folder;
    const auto files = testing::placesInFiles(folder.path());
    std::vector<ChildProcess> children;
    for (int number = 0; number < 6; ++number) {
      children.emplace_back([&, number] {
        files->reached = number % 2 == 0 ? Status::success : Status::notAvailable;
        const auto own = makeSelectedKeychain({std::nullopt, folder.path(), files}, {});
        const KeychainQuery query("test", std::to_string(number), std::nullopt);
        return own->add(query, attributes) == Status::success ? 0 : 1;
      });
    }
    for (ChildProcess& child : children)
      EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(
        (std::set{files->secretService->list().items.size(), files->file->list().items.size()}),
        (std::set<std::size_t>{0, 6}));
  }
}

}  // namespace
}  // namespace idlewyn::platform
