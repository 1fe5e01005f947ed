// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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
#include <tests/support/TemporaryFolder.hpp>

#include "StagedPlaces.hpp"

namespace idlewyn::platform {
namespace {

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
  void expectNotAvailable(Keychain& broken) const {
    EXPECT_EQ(broken.copyMatching(token).status, KeychainStatus::notAvailable);
    EXPECT_EQ(broken.add(token, attributes), KeychainStatus::notAvailable);
    EXPECT_EQ(broken.update(token, attributes), KeychainStatus::notAvailable);
    EXPECT_EQ(broken.remove(token), KeychainStatus::notAvailable);
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
  EXPECT_EQ(undecided->copyMatching(foreign).status, KeychainStatus::missingEntitlement);
  EXPECT_EQ(undecided->add(foreign, attributes), KeychainStatus::missingEntitlement);
  EXPECT_EQ(undecided->update(foreign, attributes), KeychainStatus::missingEntitlement);
  EXPECT_EQ(undecided->remove(foreign), KeychainStatus::missingEntitlement);
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
    struct stat file {
    }, keychainFolder{};
    ASSERT_EQ(stat((directory / "place").c_str(), &file), 0);
    ASSERT_EQ(stat(directory.c_str(), &keychainFolder), 0);
    EXPECT_EQ(file.st_mode & 0777, 0600u);
    EXPECT_EQ(keychainFolder.st_mode & 0777, 0700u);
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
      "place secret-servic\n",
      "place memory\n",
      "place file\nleft file 5\n",
      "place file\nleft secret-service\n",
      "place file\nleft secret-service 5x\n",
      "place file\nleft secret-service 99999999999999999999\n",
      "place file\nleft secret-service 5\nmore\n",
      "place file\n\n",
      "Place file\n",
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
  items->insert({"test", "fork", ""}, KeychainAttributes(Data::ofText(std::string(1 << 20, 'x')),
                                                         KeychainAccessibility::whenUnlocked));
  int failures = 0;
  for (int round = 0; round < 20 && failures == 0; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(5);
      _exit(items->read({"test", "fork", ""}).data ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    failures += status != 0;
  }
  isOver = true;
  other.join();
  EXPECT_EQ(failures, 0);
  items->erase({"test", "fork", ""});
}

// Each of them finds another place reachable, so only agreement puts all items into one.
TEST_F(SelectedKeychain, ProcessesThatDecideAtOnceAgree) {
  const auto files = std::make_shared<StagedPlaces>(makeFileItems(folder.path() / "a"),
                                                    makeFileItems(folder.path() / "b"));
  for (int round = 0; round < 10; ++round) {
    std::vector<pid_t> children;
    for (int number = 0; number < 6; ++number) {
      children.push_back(fork());
      if (children.back() != 0) continue;
      files->reached = number % 2 == 0 ? KeychainStatus::success : KeychainStatus::notAvailable;
      const auto own = makeSelectedKeychain({std::nullopt, directory, files}, {});
      const KeychainQuery query("test", std::to_string(number), std::nullopt);
      _exit(own->add(query, attributes) == KeychainStatus::success ? 0 : 1);
    }
    for (const pid_t child : children) {
      int status = -1;
      waitpid(child, &status, 0);
      EXPECT_EQ(status, 0);
    }
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

TEST(KeychainStatusMessage, EveryKnownCodeHasASentenceOfItsOwnAndOthersHaveNone) {
  using Status = KeychainStatus;
  std::set<std::string> messages;
  const Code codes[]{
      Status::success,           Status::itemNotFound,       Status::duplicateItem,
      Status::notAvailable,      Status::missingEntitlement, Status::interactionNotAllowed,
      Status::noDefaultKeychain, Status::badParameter,       Status::invalidKeychain,
      Status::writePermission,   Status::diskFull,           Status::ioError};
  for (const Code code : codes)
    messages.insert(Status::message(code).value_or(""));
  EXPECT_EQ(messages.size(), std::size(codes));
  EXPECT_FALSE(messages.contains(""));
  for (const Code code : {1, -1, -25301, 25300})
    EXPECT_EQ(Status::message(code), std::nullopt) << code;
}

}  // namespace
}  // namespace idlewyn::platform
