// SPDX-License-Identifier: MIT
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <tests/process/stores/ChildProcess.hpp>
#include <tests/support/TemporaryFolder.hpp>

#include "StagedPlaces.hpp"

namespace idlewyn::platform {
namespace {

using testing::ChildProcess;
using testing::StagedItems;
using testing::StagedPlaces;
using testing::TemporaryFolder;
using Place = KeychainPlace;
using Code = KeychainStatus::Code;

KeychainAttributes attributes(const std::string& value) {
  return {Data::ofText(value), KeychainAccessibility::afterFirstUnlock};
}

ItemAddress address(const std::string& account, const std::string& group = "group") {
  return {"test", account, group};
}

/// Two places and a directory, whose record names the file.
struct Stage {
  explicit Stage(std::shared_ptr<StagedPlaces> places = testing::placesInMemory())
      : places(std::move(places)) {
    setRecord({Place::file, std::nullopt});
  }

  void setRecord(const KeychainRecord& record) const {
    const KeychainLock lock(folder.path(), KeychainLock::Kind::exclusive);
    ASSERT_TRUE(KeychainRecordFile(folder.path()).write(record));
  }
  void expectRecord(Place place) const {
    EXPECT_EQ(KeychainRecordFile(folder.path()).read().record,
              (KeychainRecord{place, std::nullopt}));
  }
  KeychainSettings settings(std::optional<std::string> word = std::nullopt) const {
    return {word, folder.path(), places};
  }
  KeychainMove move(Place to) const { return moveWith(settings(), to); }
  /// What a program finds, wherever it is told to look.
  std::string found(const std::string& account, const std::string& group = "group") const {
    const auto keychain = makeSelectedKeychain(settings(), {group});
    const KeychainMatch match = keychain->copyMatching({"test", account, group});
    return match.data ? std::string(match.data->text()) : std::to_string(match.status);
  }
  /// Of items that are called and hold "0", "1" and so on.
  void expectAll(int count) const {
    for (int i = 0; i < count; ++i)
      EXPECT_EQ(found(std::to_string(i)), std::to_string(i));
  }
  bool isFileEmpty() const { return file().list().items.empty(); }
  StagedItems& file() const { return *places->file; }
  StagedItems& service() const { return *places->secretService; }

  const TemporaryFolder folder;
  const std::shared_ptr<StagedPlaces> places;
};

TEST(KeychainMove, EveryItemOfEveryGroupGoesThereAndBack) {
  const Stage stage;
  const KeychainAttributes closed(Data{0, 255}, KeychainAccessibility::whenUnlocked);
  stage.file().insert(address("one", "a"), closed);
  stage.file().insert(address("one", "b"), attributes("b"));
  stage.file().insert(address("", ""), attributes(""));
  auto from = stage.places->file, to = stage.places->secretService;
  for (const Place place : {Place::secretService, Place::file}) {
    const KeychainMove move = stage.move(place);
    EXPECT_EQ(move.status, KeychainStatus::success);
    EXPECT_EQ(move.copied, 3u);
    EXPECT_EQ(move.kept + move.left, 0u);
    stage.expectRecord(place);
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
  struct Row {
    const char* why;
    std::optional<std::int64_t> inUse, there;
    std::string expected;
  };
  const Row rows[]{
      {"newer there", 5, 6, "there"},
      {"older there", 6, 5, "in use"},
      {"the same time", 5, 5, "in use"},
      {"no time in use", std::nullopt, 5, "in use"},
  };
  for (const Row& row : rows) {
    const Stage stage;
    stage.file().insert(address("token"), attributes("in use"));
    stage.service().insert(address("token"), attributes("there"));
    stage.service().insert(address("other"), attributes("only there"));
    stage.file().date(row.inUse);
    stage.service().date(row.there);
    const KeychainMove move = stage.move(Place::secretService);
    EXPECT_EQ(move.status, KeychainStatus::success) << row.why;
    EXPECT_EQ(move.kept, row.expected == "there" ? 1u : 0u) << row.why;
    EXPECT_EQ(stage.found("token"), row.expected) << row.why;
    EXPECT_EQ(stage.found("other"), "only there") << row.why;
    EXPECT_TRUE(stage.isFileEmpty()) << row.why;
  }
}

TEST(KeychainMove, WhatCannotBeDoneChangesNothing) {
  using Status = KeychainStatus;
  struct Row {
    const char* why;
    std::optional<std::string> word;
    std::function<void(StagedPlaces&)> stage;
    Place to;
    Code expected;
  };
  const auto asItIs = [](StagedPlaces&) {};
  const Row rows[]{
      {"memory keeps nothing", {}, asItIs, Place::memory, Status::badParameter},
      {"the user's word", "file", asItIs, Place::secretService, Status::badParameter},
      {"no new items there",
       {},
       [](StagedPlaces& places) { places.reached = Status::noDefaultKeychain; },
       Place::secretService,
       Status::noDefaultKeychain},
      {"not kept there",
       {},
       [](StagedPlaces& places) { places.secretService->isForgetful = true; },
       Place::secretService,
       Status::ioError},
      {"locked here",
       {},
       [](StagedPlaces& places) { places.file->fail(Status::interactionNotAllowed); },
       Place::secretService,
       Status::interactionNotAllowed},
  };
  for (const Row& row : rows) {
    const Stage stage;
    stage.file().insert(address("token"), attributes("x"));
    row.stage(*stage.places);
    EXPECT_EQ(moveWith(stage.settings(row.word), row.to).status, row.expected) << row.why;
    stage.expectRecord(Place::file);
    stage.file().mend();
    EXPECT_EQ(stage.found("token"), "x") << row.why;
    EXPECT_EQ(moveWith(stage.settings("file"), Place::file).status, Status::success);
  }
}

TEST(KeychainMove, WithNothingDecidedItDecides) {
  const Stage stage;
  std::filesystem::remove(stage.folder.path() / "place");
  stage.service().fail(KeychainStatus::notAvailable);
  EXPECT_EQ(stage.move(Place::file).status, KeychainStatus::success);
  stage.expectRecord(Place::file);
  // Decided on, the service must be there to be moved from.
  stage.setRecord({Place::secretService, std::nullopt});
  EXPECT_EQ(stage.move(Place::file).status, KeychainStatus::notAvailable);
}

TEST(KeychainMove, WhatCameIntoTheOldPlaceSinceStaysThereAndWhatWasRemovedStaysRemoved) {
  const Stage stage;
  // As after a move that was cut off when it had switched the record.
  stage.service().insert(address("moved"), attributes("x"));
  stage.file().insert(address("moved"), attributes("x"));
  stage.file().insert(address("removed since"), attributes("y"));
  stage.file().date(100);
  stage.setRecord({Place::secretService, LeftPlace{Place::file, 101}});
  EXPECT_EQ(stage.move(Place::secretService).status, KeychainStatus::success);
  EXPECT_TRUE(stage.isFileEmpty());
  EXPECT_EQ(stage.found("removed since"), "-25300");

  stage.file().insert(address("new"), attributes("z"));
  stage.file().date(101);
  // The second as a clock knew it that was set back since.
  for (const std::int64_t since : {101, 2'000'000'000}) {
    stage.setRecord({Place::secretService, LeftPlace{Place::file, since}});
    EXPECT_EQ(stage.move(Place::secretService).left, 1u);
    EXPECT_EQ(stage.file().read(address("new")).data, Data::ofText("z")) << since;
  }
}

// Before each operation in turn, and with files' journals as they are at the moment of a kill.
TEST(KeychainMove, CutOffAnywhereItLosesNothingAndGoesOn) {
  constexpr int items = 4;
  for (const bool isKilled : {false, true}) {
    bool isDone = false;
    for (int operations = 0; !isDone; ++operations) {
      const TemporaryFolder files;
      const Stage stage(isKilled ? testing::placesInFiles(files.path())
                                 : testing::placesInMemory());
      for (int i = 0; i < items; ++i)
        stage.file().insert(address(std::to_string(i)), attributes(std::to_string(i)));
      stage.service().insert(address("1"), attributes("older"));
      stage.service().date(1);
      const auto move = [&] {
        int left = operations;
        for (StagedItems* place : {&stage.file(), &stage.service()})
          place->before = [&] {
            if (left-- > 0) return KeychainStatus::success;
            return isKilled ? raise(SIGKILL) : KeychainStatus::ioError;
          };
        return stage.move(Place::secretService).status == KeychainStatus::success ? 0 : 1;
      };
      isDone = (isKilled ? ChildProcess(move).status() : move()) == 0;
      ASSERT_TRUE(!isDone || operations >= 2 * items) << "the move was not cut off";
      ASSERT_LT(operations, 100);
      stage.file().mend();
      stage.service().mend();
      stage.expectAll(items);
      EXPECT_EQ(stage.move(Place::secretService).status, KeychainStatus::success);
      stage.expectAll(items);
      EXPECT_TRUE(stage.isFileEmpty());
      stage.expectRecord(Place::secretService);
    }
  }
}

TEST(KeychainMove, AReaderWhoseKeychainIsMovedMeanwhileFindsTheItem) {
  const Stage stage;
  stage.file().insert(address("token"), attributes("x"));
  // When the reader has seen the record and looks into the place.
  stage.file().before = [&] {
    stage.file().mend();
    return stage.move(Place::secretService).status;
  };
  EXPECT_EQ(stage.found("token"), "x");
  EXPECT_TRUE(stage.isFileEmpty());
}

TEST(KeychainMove, WritersWaitAndLoseNothing) {
  const Stage stage;
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
  stage.expectAll(300);
}

}  // namespace
}  // namespace idlewyn::platform
