// SPDX-License-Identifier: MIT
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <IdlewynKit/platform/secrets/internal/MemoryKeychain.hpp>
#include <tests/process/stores/ChildProcess.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include "StagedPlaces.hpp"

namespace idlewyn::platform {
namespace {

using testing::ChildProcess;
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
  /// Items in the file that are called and hold "0", "1" and so on.
  void fill(int count) const {
    for (int i = 0; i < count; ++i)
      places->file->insert({"test", std::to_string(i), "group"}, attributes(std::to_string(i)));
  }
  /// Nor does going on with the move to the service.
  void expectLossless(int count) const {
    const auto expectAll = [&] {
      for (int i = 0; i < count; ++i)
        EXPECT_EQ(found(std::to_string(i), "group"), std::to_string(i));
    };
    expectAll();
    EXPECT_EQ(move(Place::secretService).status, KeychainStatus::success);
    expectAll();
    EXPECT_TRUE(places->file->list().items.empty());
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

// Before each operation in turn.
TEST(KeychainMove, AFailureAnywhereLosesNothingAndItGoesOn) {
  bool isDone = false;
  for (int operations = 0; !isDone; ++operations) {
    const Stage stage(placesInMemory());
    stage.setRecord({Place::file, std::nullopt});
    stage.fill(3);
    stage.places->secretService->insert(address("1"), attributes("older"));
    stage.places->secretService->isDated = true;
    stage.places->secretService->modified = 1;
    int left = operations;
    for (const auto& items : {stage.places->file, stage.places->secretService})
      items->before = [&] {
        return left-- > 0 ? KeychainStatus::success : KeychainStatus::ioError;
      };
    isDone = stage.move(Place::secretService).status == KeychainStatus::success;
    left = 1'000'000;
    stage.expectLossless(3);
    EXPECT_EQ(stage.record(), (KeychainRecord{Place::secretService, std::nullopt}));
    ASSERT_LT(operations, 100);
    ASSERT_TRUE(!isDone || operations >= 10) << "the move was not cut off";
  }
}

// The same, with the files' journals as they are at that moment.
TEST(KeychainMove, KilledAnywhereItLosesNothing) {
  const TemporaryFolder files;
  const Stage stage(std::make_shared<StagedPlaces>(makeFileItems(files.path() / "a"),
                                                   makeFileItems(files.path() / "b")));
  constexpr int items = 4;
  bool isDone = false;
  for (int operations = 0; !isDone; ++operations) {
    stage.setRecord({Place::file, std::nullopt});
    stage.fill(items);
    for (const KeychainItem& item : stage.places->secretService->list().items)
      stage.places->secretService->erase({item.service, item.account, item.accessGroup});
    ChildProcess child([&] {
      int left = operations;
      for (const auto& place : {stage.places->file, stage.places->secretService})
        place->before = [&] { return left-- > 0 ? KeychainStatus::success : raise(SIGKILL); };
      return stage.move(Place::secretService).status == KeychainStatus::success ? 0 : 1;
    });
    const int status = child.status();
    isDone = status != 128 + SIGKILL;
    ASSERT_TRUE(!isDone || (status == 0 && operations >= 2 * items)) << operations;
    stage.expectLossless(items);
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
  std::thread writer([&] {
    const auto keychain = makeSelectedKeychain(stage.settings(), {"group"});
    for (int i = 0; i < 300; ++i) {
      const std::string text = std::to_string(i);
      EXPECT_EQ(keychain->add({"test", text, "group"}, attributes(text)), KeychainStatus::success);
    }
  });
  for (int i = 0; i < 20; ++i) {
    const Place to = i % 2 == 0 ? Place::secretService : Place::file;
    EXPECT_EQ(stage.move(to).status, KeychainStatus::success);
  }
  writer.join();
  for (int i = 0; i < 300; ++i)
    EXPECT_EQ(stage.found(std::to_string(i), "group"), std::to_string(i));
}

}  // namespace
}  // namespace idlewyn::platform
