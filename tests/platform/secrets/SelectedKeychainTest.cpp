// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
#include <tests/contracts/KeychainVerbs.hpp>
#include <tests/process/stores/ChildProcess.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include "StagedPlaces.hpp"

namespace idlewyn::platform {
namespace {

using testing::ChildProcess;
using testing::StagedPlaces;
using testing::TemporaryFolder;
using Code = KeychainStatus::Code;
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
  std::string record() const {
    std::ifstream file(directory / "place");
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void setRecord(const std::string& text) const {
    std::filesystem::create_directories(directory);
    std::ofstream(directory / "place") << text;
  }
  std::string contents() const {
    const auto count = [](SecretItems& items) { return std::to_string(items.list().items.size()); };
    return count(*places->secretService) + " and " + count(*places->file);
  }
  static void expectNotAvailable(Keychain& broken) {
    testing::expectEveryVerb(broken, token, KeychainStatus::notAvailable);
  }

  const TemporaryFolder folder;
  const std::filesystem::path directory = folder.path() / "data" / "keychain";
  const std::shared_ptr<StagedPlaces> places =
      std::make_shared<StagedPlaces>(makeMemoryItems(), makeMemoryItems());
};

TEST_F(SelectedKeychain, BeforeTheFirstWriteEverythingIsAbsentAndNothingIsDecided) {
  const auto undecided = keychain();
  EXPECT_EQ(undecided->copyMatching(token).status, KeychainStatus::itemNotFound);
  EXPECT_EQ(undecided->update(token, attributes), KeychainStatus::itemNotFound);
  EXPECT_EQ(undecided->remove(token), KeychainStatus::itemNotFound);
  const KeychainQuery foreign("test", "token", "foreign");
  testing::expectEveryVerb(*undecided, foreign, KeychainStatus::missingEntitlement);
  EXPECT_EQ(reason(), KeychainReason::undecided);
  EXPECT_FALSE(std::filesystem::exists(folder.path() / "data"));
}

TEST_F(SelectedKeychain, TheFirstWriteDecidesOnTheServiceWhereItCanKeepItems) {
  const std::pair<Code, std::string> rows[]{
      {KeychainStatus::success, "place secret-service\n"},
      {KeychainStatus::notAvailable, "place file\n"},
      {KeychainStatus::noDefaultKeychain, "place file\n"},
  };
  for (const auto& [reached, expected] : rows) {
    places->reached = reached;
    EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::success);
    EXPECT_EQ(record(), expected);
    EXPECT_EQ(reason(), KeychainReason::recorded);
    places->reached =
        reached == KeychainStatus::success ? KeychainStatus::notAvailable : KeychainStatus::success;
    EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
    using std::filesystem::perms, std::filesystem::status;
    EXPECT_EQ(status(directory / "place").permissions(), perms::owner_read | perms::owner_write);
    EXPECT_EQ(status(directory).permissions(), perms::owner_all);
    EXPECT_EQ(keychain()->remove(token), KeychainStatus::success);
    std::filesystem::remove(directory / "place");
  }
}

TEST_F(SelectedKeychain, AServiceThatWasDecidedOnIsNeverReplacedByTheFile) {
  EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::success);
  places->reached = KeychainStatus::notAvailable;
  places->secretService->before = [] { return KeychainStatus::notAvailable; };
  expectNotAvailable(*keychain());
  EXPECT_TRUE(places->file->list().items.empty());
  places->secretService->before = [] { return KeychainStatus::success; };
  EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
}

TEST_F(SelectedKeychain, NothingIsDecidedWhileTheFileCannotBeLookedInto) {
  places->file->before = [] { return KeychainStatus::notAvailable; };
  EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::notAvailable);
  EXPECT_EQ(record(), "");
  EXPECT_TRUE(places->secretService->list().items.empty());
  places->file->before = [] { return KeychainStatus::success; };
  EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::success);
}

TEST_F(SelectedKeychain, AFileThatLostItsRecordIsNotGivenUp) {
  places->file->insert({"test", "token", "group"}, attributes);
  EXPECT_EQ(keychain()->add({"test", "other", std::nullopt}, attributes), KeychainStatus::success);
  EXPECT_EQ(record(), "place file\n");
  EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
}

TEST_F(SelectedKeychain, ARecordThatIsNotUnderstoodIsKeptAndNoPlaceIsUsed) {
  const char* const texts[]{
      "",  // cut off
      "place file",
      "place memory\n",
      "place file\nleft file 5\n",
      "place file\nleft secret-service 5x\n",
      "place file\nleft secret-service 99999999999999999999\n",
      "place file\nleft secret-service 5\nmore\n",
  };
  for (const char* text : texts) {
    setRecord(text);
    expectNotAvailable(*keychain());
    EXPECT_EQ(reason(), KeychainReason::unreadableRecord) << text;
    EXPECT_EQ(record(), text);
  }
  setRecord(std::string(5000, 'x'));
  expectNotAvailable(*keychain());
  // What root can't read either.
  std::filesystem::remove(directory / "place");
  std::filesystem::create_directory(directory / "place");
  expectNotAvailable(*keychain());
  EXPECT_EQ(moveWith({std::nullopt, directory, places}, KeychainPlace::file).status,
            KeychainStatus::notAvailable);
  EXPECT_EQ(contents(), "0 and 0");
}

TEST_F(SelectedKeychain, AWordOfTheUserCountsMoreThanTheRecord) {
  setRecord("place file\n");
  EXPECT_EQ(keychain("secret-service")->add(token, attributes), KeychainStatus::success);
  EXPECT_EQ(contents(), "1 and 0");
  EXPECT_EQ(reason("secret-service"), KeychainReason::environment);
  EXPECT_EQ(keychain()->copyMatching(token).status, KeychainStatus::itemNotFound);
  for (const char* word : {"keyring", "File", " file", "secretService"}) {
    expectNotAvailable(*keychain(word));
    EXPECT_EQ(reason(word), KeychainReason::unknownWord);
  }
  EXPECT_EQ(contents(), "1 and 0");
  EXPECT_EQ(record(), "place file\n");
}

TEST_F(SelectedKeychain, WithoutAHomeOnlyWhatNeedsNoneCanBeUsed) {
  const auto homeless = [&](Word word) { return makeSelectedKeychain({word, {}, places}, {}); };
  EXPECT_EQ(homeless(std::nullopt)->copyMatching(token).status, KeychainStatus::itemNotFound);
  EXPECT_EQ(homeless(std::nullopt)->add(token, attributes), KeychainStatus::notAvailable);
  expectNotAvailable(*homeless("file"));
  EXPECT_EQ(homeless("secret-service")->add(token, attributes), KeychainStatus::success);
}

TEST_F(SelectedKeychain, AStoppedProcessThatHoldsTheLockStopsWritersForSecondsAndReadersNever) {
  EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::success);
  const KeychainLock held(directory, KeychainLock::Kind::exclusive);
  ASSERT_EQ(held.state(), KeychainLock::State::held);
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(keychain()->copyMatching(token).data, attributes.value);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
  EXPECT_EQ(keychain()->update(token, attributes), KeychainStatus::notAvailable);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
}

TEST_F(SelectedKeychain, WhatIsNoFileIsNoLockAndHoldsNobodyUp) {
  std::filesystem::create_directories(directory);
  const std::string lock = (directory / "lock").string();
  ASSERT_EQ(mkfifo(lock.c_str(), 0400), 0);
  const auto begin = std::chrono::steady_clock::now();
  // Another user than root can't write to it, and would wait for one who does.
  for (const auto kind : {KeychainLock::Kind::shared, KeychainLock::Kind::exclusive})
    EXPECT_EQ(KeychainLock(directory, kind).state(), KeychainLock::State::impossible);
  EXPECT_EQ(keychain()->add(token, attributes), KeychainStatus::notAvailable);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
}

TEST(MemoryKeychain, CanBeUsedInAChildWhateverItsParentsThreadsDid) {
  const auto items = sharedMemoryItems();
  std::atomic<bool> isOver = false;
  std::thread other([&] {
    while (!isOver)
      items->list();
  });
  const Data large = Data::ofText(std::string(1 << 20, 'x'));
  items->insert({"test", "fork", ""}, {large, KeychainAccessibility::whenUnlocked});
  bool isRight = true;
  for (int round = 0; round < 20 && isRight; ++round) {
    ChildProcess child([&] {
      alarm(5);
      return items->read({"test", "fork", ""}).data ? 0 : 1;
    });
    isRight = child.status() == 0;
  }
  isOver = true;
  other.join();
  EXPECT_TRUE(isRight);
  items->erase({"test", "fork", ""});
}

// Each of them finds another place reachable, so only agreement puts all items into one.
TEST_F(SelectedKeychain, ProcessesThatDecideAtOnceAgree) {
  const auto files = std::make_shared<StagedPlaces>(makeFileItems(folder.path() / "a"),
                                                    makeFileItems(folder.path() / "b"));
  for (int round = 0; round < 10; ++round) {
    std::vector<ChildProcess> children;
    for (int number = 0; number < 6; ++number) {
      children.emplace_back([&, number] {
        files->reached = number % 2 == 0 ? KeychainStatus::success : KeychainStatus::notAvailable;
        const auto own = makeSelectedKeychain({std::nullopt, directory, files}, {});
        const KeychainQuery query("test", std::to_string(number), std::nullopt);
        return own->add(query, attributes) == KeychainStatus::success ? 0 : 1;
      });
    }
    for (ChildProcess& child : children)
      EXPECT_EQ(child.status(), 0);
    std::multiset<std::size_t> counts;
    for (const auto& items : {files->secretService, files->file}) {
      const auto found = items->list().items;
      counts.insert(found.size());
      for (const KeychainItem& item : found)
        items->erase({item.service, item.account, item.accessGroup});
    }
    EXPECT_EQ(counts, (std::multiset<std::size_t>{0, 6}));
    std::filesystem::remove(directory / "place");
  }
}

}  // namespace
}  // namespace idlewyn::platform
