// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

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
using Place = KeychainPlace;
using Code = KeychainStatus::Code;

constexpr auto afterFirstUnlock = KeychainAccessibility::afterFirstUnlock;

KeychainAttributes attributes(const std::string& value) {
  return {Data::ofText(value), afterFirstUnlock};
}

/// A directory with its record, and two places.
struct Stage {
  explicit Stage(std::shared_ptr<StagedPlaces> places) : places(std::move(places)) {}

  void setRecord(const KeychainRecord& record) const {
    const KeychainLock lock(folder.path(), KeychainLock::Kind::exclusive);
    ASSERT_TRUE(KeychainRecordFile(folder.path()).write(record));
  }
  std::optional<KeychainRecord> record() const {
    return KeychainRecordFile(folder.path()).read().record;
  }
  KeychainSettings settings(std::optional<std::string> word = std::nullopt) const {
    return {word, folder.path(), places};
  }
  KeychainMove move(Place to) const { return moveWith(settings(), to); }
  /// What a program finds, wherever it is told to look.
  std::string found(const std::string& account, const std::string& group) const {
    const auto keychain = makeSelectedKeychain(settings(), {group});
    const KeychainMatch match = keychain->copyMatching({"test", account, group});
    return match.data ? std::string(match.data->text()) : std::to_string(match.status);
  }

  const TemporaryFolder folder;
  const std::shared_ptr<StagedPlaces> places;
};

std::shared_ptr<StagedPlaces> placesInMemory() {
  return std::make_shared<StagedPlaces>(makeMemoryItems(), makeMemoryItems());
}

ItemAddress address(const std::string& account, const std::string& group = "group") {
  return {"test", account, group};
}

TEST(KeychainMove, EveryItemOfEveryGroupGoesThereAndBack) {
  const Stage stage(placesInMemory());
  stage.setRecord({Place::file, std::nullopt});
  const KeychainAttributes closed(Data{0, 255}, KeychainAccessibility::whenUnlocked);
  stage.places->file->insert(address("one", "a"), closed);
  stage.places->file->insert(address("one", "b"), attributes("b"));
  stage.places->file->insert(address("", ""), attributes(""));
  auto from = stage.places->file, to = stage.places->secretService;
  for (const Place place : {Place::secretService, Place::file}) {
    const KeychainMove move = stage.move(place);
    EXPECT_EQ(move.status, KeychainStatus::success);
    EXPECT_EQ(move.copied, 3u);
    EXPECT_EQ(move.kept + move.left, 0u);
    EXPECT_EQ(stage.record(), (KeychainRecord{place, std::nullopt}));
    EXPECT_TRUE(from->list().items.empty());
    for (const KeychainItem& item : to->list().items) {
      const bool isClosed = item.accessGroup == "a";
      EXPECT_EQ(item.attributes->accessible == closed.accessible, isClosed);
    }
    EXPECT_EQ(stage.found("one", "b"), "b");
    EXPECT_EQ(stage.found("", ""), "");
    EXPECT_EQ(stage.move(place).copied, 0u) << "a move to where it is";
    std::swap(from, to);
  }
}

TEST(KeychainMove, OfTwoValuesTheNewerStaysElseThatOfThePlaceInUse) {
  using Time = std::optional<std::int64_t>;
  struct Row {
    const char* why;
    Time inUse, there;
    std::string expected;
    std::size_t kept;
  };
  const Row rows[]{
      {"newer there", 5, 6, "there", 1},
      {"older there", 6, 5, "in use", 0},
      {"the same time", 5, 5, "in use", 0},
      {"no time there", 5, std::nullopt, "in use", 0},
      {"no time in use", std::nullopt, 5, "in use", 0},
  };
  for (const Row& row : rows) {
    const Stage stage(placesInMemory());
    stage.setRecord({Place::file, std::nullopt});
    stage.places->file->insert(address("token"), attributes("in use"));
    stage.places->secretService->insert(address("token"), attributes("there"));
    stage.places->secretService->insert(address("other"), attributes("only there"));
    for (const auto& items : {stage.places->file, stage.places->secretService})
      items->isDated = true;
    stage.places->file->modified = row.inUse;
    stage.places->secretService->modified = row.there;
    const KeychainMove move = stage.move(Place::secretService);
    EXPECT_EQ(move.status, KeychainStatus::success) << row.why;
    EXPECT_EQ(move.kept, row.kept) << row.why;
    EXPECT_EQ(stage.found("token", "group"), row.expected) << row.why;
    EXPECT_EQ(stage.found("other", "group"), "only there") << row.why;
    EXPECT_EQ(move.left, 0u) << row.why;
    EXPECT_TRUE(stage.places->file->list().items.empty()) << row.why;
  }
}

TEST(KeychainMove, WhatCannotBeDoneChangesNothing) {
  const auto locked = [] { return KeychainStatus::interactionNotAllowed; };
  struct Row {
    const char* why;
    std::function<void(StagedPlaces&)> stage;
    Place to;
    Code expected;
  };
  const Row rows[]{
      {"memory keeps nothing", [](StagedPlaces&) {}, Place::memory, KeychainStatus::badParameter},
      {"no new items there",
       [](StagedPlaces& places) { places.reached = KeychainStatus::noDefaultKeychain; },
       Place::secretService, KeychainStatus::noDefaultKeychain},
      {"locked there", [&](StagedPlaces& places) { places.secretService->before = locked; },
       Place::secretService, KeychainStatus::interactionNotAllowed},
      {"not kept there", [](StagedPlaces& places) { places.secretService->isForgetful = true; },
       Place::secretService, KeychainStatus::ioError},
      {"locked here", [&](StagedPlaces& places) { places.file->before = locked; },
       Place::secretService, KeychainStatus::interactionNotAllowed},
  };
  for (const Row& row : rows) {
    const Stage stage(placesInMemory());
    stage.setRecord({Place::file, std::nullopt});
    stage.places->file->insert(address("token"), attributes("x"));
    row.stage(*stage.places);
    EXPECT_EQ(stage.move(row.to).status, row.expected) << row.why;
    EXPECT_EQ(stage.record(), (KeychainRecord{Place::file, std::nullopt})) << row.why;
    stage.places->file->before = [] { return KeychainStatus::success; };
    EXPECT_EQ(stage.found("token", "group"), "x") << row.why;
  }
  const Stage forced(placesInMemory());
  EXPECT_EQ(moveWith(forced.settings("file"), Place::secretService).status,
            KeychainStatus::badParameter);
  EXPECT_EQ(moveWith(forced.settings("file"), Place::file).status, KeychainStatus::success);
}

TEST(KeychainMove, WithNothingDecidedItDecides) {
  const Stage stage(placesInMemory());
  stage.places->secretService->before = [] { return KeychainStatus::notAvailable; };
  EXPECT_EQ(stage.move(Place::file).status, KeychainStatus::success);
  EXPECT_EQ(stage.record(), (KeychainRecord{Place::file, std::nullopt}));
  // Decided on, the service must be there to be moved from.
  stage.setRecord({Place::secretService, std::nullopt});
  EXPECT_EQ(stage.move(Place::file).status, KeychainStatus::notAvailable);
}

TEST(KeychainMove, WhatCameIntoTheOldPlaceSinceStaysThereAndWhatWasRemovedStaysRemoved) {
  const Stage stage(placesInMemory());
  // As after a move that was cut off when it had switched the record.
  stage.places->secretService->insert(address("moved"), attributes("x"));
  stage.places->file->insert(address("moved"), attributes("x"));
  stage.places->file->insert(address("removed since"), attributes("y"));
  stage.places->file->isDated = true;
  stage.places->file->modified = 100;
  stage.setRecord({Place::secretService, LeftPlace{Place::file, 101}});
  EXPECT_EQ(stage.move(Place::secretService).status, KeychainStatus::success);
  EXPECT_TRUE(stage.places->file->list().items.empty());
  EXPECT_EQ(stage.found("removed since", "group"), "-25300");

  stage.places->file->insert(address("new"), attributes("z"));
  stage.places->file->modified = 101;
  stage.setRecord({Place::secretService, LeftPlace{Place::file, 101}});
  EXPECT_EQ(stage.move(Place::secretService).left, 1u);
  EXPECT_EQ(stage.places->file->read(address("new")).data, Data::ofText("z"));
}

/// Thrown in place of an operation: as if the process had ended there.
struct Cut {};

// Cut off before each operation in turn, by a failure or for good.
TEST(KeychainMove, CutOffAnywhereItLosesNothingAndGoesOn) {
  for (const bool isForGood : {false, true}) {
    bool isDone = false;
    for (int operations = 0; !isDone; ++operations) {
      const Stage stage(placesInMemory());
      stage.setRecord({Place::file, std::nullopt});
      for (const char* account : {"1", "2", "3"})
        stage.places->file->insert(address(account), attributes(account));
      stage.places->secretService->insert(address("2"), attributes("older"));
      stage.places->secretService->isDated = true;
      stage.places->secretService->modified = 1;
      int left = operations;
      const auto count = [&] {
        if (left-- > 0) return KeychainStatus::success;
        if (isForGood) throw Cut();
        return KeychainStatus::ioError;
      };
      for (const auto& items : {stage.places->file, stage.places->secretService})
        items->before = count;
      try {
        isDone = stage.move(Place::secretService).status == KeychainStatus::success;
      } catch (const Cut&) {
      }
      left = 1'000'000;
      const auto expectAll = [&] {
        for (const char* account : {"1", "2", "3"})
          EXPECT_EQ(stage.found(account, "group"), account) << operations;
      };
      expectAll();
      EXPECT_EQ(stage.move(Place::secretService).status, KeychainStatus::success) << operations;
      expectAll();
      EXPECT_EQ(stage.record(), (KeychainRecord{Place::secretService, std::nullopt}));
      EXPECT_TRUE(stage.places->file->list().items.empty()) << operations;
      ASSERT_LT(operations, 100);
      ASSERT_TRUE(!isDone || operations >= 10) << "the move was not cut off";
    }
  }
}

// Before each operation in turn, with the files' journals as they are at that moment.
TEST(KeychainMove, KilledAnywhereItLosesNothing) {
  const TemporaryFolder files;
  const Stage stage(std::make_shared<StagedPlaces>(makeFileItems(files.path() / "a"),
                                                   makeFileItems(files.path() / "b")));
  constexpr int items = 4;
  const auto expectAll = [&](int operations) {
    for (int i = 0; i < items; ++i)
      EXPECT_EQ(stage.found(std::to_string(i), "group"), std::to_string(i)) << operations;
  };
  bool isDone = false;
  for (int operations = 0; !isDone; ++operations) {
    stage.setRecord({Place::file, std::nullopt});
    for (int i = 0; i < items; ++i) {
      stage.places->file->insert(address(std::to_string(i)), attributes(std::to_string(i)));
      stage.places->secretService->erase(address(std::to_string(i)));
    }
    const pid_t child = fork();
    if (child == 0) {
      int left = operations;
      for (const auto& place : {stage.places->file, stage.places->secretService}) {
        place->before = [&] { return left-- > 0 ? KeychainStatus::success : raise(SIGKILL); };
      }
      _exit(stage.move(Place::secretService).status == KeychainStatus::success ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    isDone = WIFEXITED(status);
    ASSERT_TRUE(!isDone || (WEXITSTATUS(status) == 0 && operations >= 2 * items)) << operations;
    expectAll(operations);
    EXPECT_EQ(stage.move(Place::secretService).status, KeychainStatus::success) << operations;
    expectAll(operations);
    EXPECT_TRUE(stage.places->file->list().items.empty()) << operations;
    ASSERT_LT(operations, 100);
  }
}

TEST(KeychainMove, AReaderWhoseKeychainIsMovedMeanwhileFindsTheItem) {
  const Stage stage(placesInMemory());
  stage.setRecord({Place::file, std::nullopt});
  stage.places->file->insert(address("token"), attributes("x"));
  // When the reader has seen the record and looks into the place.
  stage.places->file->before = [&] {
    stage.places->file->before = [] { return KeychainStatus::success; };
    return stage.move(Place::secretService).status;
  };
  EXPECT_EQ(stage.found("token", "group"), "x");
  EXPECT_TRUE(stage.places->file->list().items.empty());
}

TEST(KeychainMove, WritersWaitAndLoseNothing) {
  const Stage stage(placesInMemory());
  stage.setRecord({Place::file, std::nullopt});
  stage.places->file->insert(address("kept"), attributes("kept"));
  std::thread writer([&] {
    const auto keychain = makeSelectedKeychain(stage.settings(), {"group"});
    for (int i = 0; i < 300; ++i) {
      const std::string text = std::to_string(i);
      EXPECT_EQ(keychain->add({"test", text, "group"}, attributes(text)), KeychainStatus::success);
    }
  });
  std::thread reader([&] {
    for (int i = 0; i < 2000; ++i)
      EXPECT_EQ(stage.found("kept", "group"), "kept");
  });
  for (int i = 0; i < 20; ++i) {
    const Place to = i % 2 == 0 ? Place::secretService : Place::file;
    EXPECT_EQ(stage.move(to).status, KeychainStatus::success);
  }
  writer.join();
  reader.join();
  for (int i = 0; i < 300; ++i)
    EXPECT_EQ(stage.found(std::to_string(i), "group"), std::to_string(i));
}

}  // namespace
}  // namespace idlewyn::platform
