// SPDX-License-Identifier: MIT
// The Secret Service when it is late, gone or without a collection. What it does when all is well
// is in the contract of all keychains, and the command's tests have it locked and started anew.
#include <gio/gio.h>

#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/secrets/internal/SecretServiceKeychain.hpp>
#include <tests/contracts/KeychainVerbs.hpp>
#include <tests/contracts/KeyringSession.hpp>
#include <tests/process/stores/ChildProcess.hpp>

namespace idlewyn::platform {
namespace {

using testing::ChildProcess;
using testing::expectEveryVerb;
using testing::expectWithin;
using testing::KeyringSession;
using Keyring = KeyringSession::Keyring;
using namespace std::chrono_literals;

const KeychainQuery kept("test", "kept", std::nullopt);
const KeychainAttributes attributes(Data{1, 0, 2}, KeychainAccessibility::afterFirstUnlock);

class SecretService : public ::testing::Test {
 protected:
  KeyringSession& enter(Keyring keyring) {
    session_.emplace(keyring);
    session_->enter();
    return *session_;
  }

  const std::unique_ptr<ListedKeychain> keychain_ =
      makeGroupedKeychain(sharedSecretServiceItems(), {"group"});

 private:
  std::optional<KeyringSession> session_;
};

TEST_F(SecretService, WithoutACollectionNothingCanBeAddedAndEverythingIsAbsent) {
  enter(Keyring::withoutCollection);
  EXPECT_EQ(reachSecretService(), KeychainStatus::noDefaultKeychain);
  EXPECT_EQ(keychain_->copyMatching(kept).status, KeychainStatus::itemNotFound);
  expectWithin(
      1s, [&] { EXPECT_EQ(keychain_->add(kept, attributes), KeychainStatus::noDefaultKeychain); });
}

TEST_F(SecretService, ABusWithoutAKeyringNeverCostsMoreThanASecond) {
  for (const Keyring keyring : {Keyring::absent, Keyring::neverUp}) {
    enter(keyring);
    expectWithin(1s, [] { EXPECT_EQ(reachSecretService(), KeychainStatus::notAvailable); });
    // The answer is remembered, so the rest costs nothing at all.
    expectWithin(0ms, [&] { expectEveryVerb(*keychain_, kept, KeychainStatus::notAvailable); });
  }
}

TEST_F(SecretService, OnlyABusThatIsThereIsUsed) {
  const testing::TemporaryFolder empty;
  setenv("XDG_RUNTIME_DIR", empty.path().c_str(), 1);
  const std::string gone = "unix:path=" + (empty.path() / "bus").string();
  for (const char* address :
       {"", "autolaunch:", "unix:path=/nowhere;autolaunch:", "nonsense", gone.c_str()}) {
    setenv("DBUS_SESSION_BUS_ADDRESS", address, 1);
    expectEveryVerb(*keychain_, kept, KeychainStatus::notAvailable);
  }
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  expectEveryVerb(*keychain_, kept, KeychainStatus::notAvailable);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "something was started";

  const std::filesystem::path bus = enter(Keyring::unlocked).address().substr(10);
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  setenv("XDG_RUNTIME_DIR", bus.parent_path().c_str(), 1);
  EXPECT_EQ(reachSecretService(), KeychainStatus::success) << "that of the runtime directory";
  unsetenv("XDG_RUNTIME_DIR");
}

TEST_F(SecretService, AServiceThatStopsAnsweringHoldsNobodyUpForLong) {
  KeyringSession& session = enter(Keyring::unlocked);
  ASSERT_EQ(keychain_->add(kept, attributes), KeychainStatus::success);
  session.signalKeyring(SIGSTOP);
  expectWithin(3s, [&] {
    EXPECT_EQ(keychain_->copyMatching(kept).status, KeychainStatus::notAvailable);
    expectEveryVerb(*keychain_, kept, KeychainStatus::notAvailable);
  });
  session.signalKeyring(SIGCONT);
  enter(Keyring::unlocked).signalBus(SIGSTOP);
  expectWithin(1s, [&] { EXPECT_EQ(reachSecretService(), KeychainStatus::notAvailable); });
}

TEST_F(SecretService, TheEndOfTheBusIsNotTheEndOfTheProgram) {
  enter(Keyring::unlocked).signalBus(SIGKILL);
  EXPECT_EQ(reachSecretService(), KeychainStatus::notAvailable);
  enter(Keyring::unlocked);
  ASSERT_EQ(keychain_->add(kept, attributes), KeychainStatus::success);
  enter(Keyring::unlocked);  // its bus goes while the link is open
  std::this_thread::sleep_for(100ms);
  EXPECT_EQ(keychain_->copyMatching(kept).status, KeychainStatus::itemNotFound);
}

TEST_F(SecretService, UnderTextThatTheBusCannotCarryNothingIsFoundAndNothingCanBeAdded) {
  enter(Keyring::unlocked);
  // What each would be if it were cut off at its NUL.
  ASSERT_EQ(keychain_->add({"a", "a", std::nullopt}, attributes), KeychainStatus::success);
  const std::string cut("a\0b", 3);
  for (const auto& [service, account] :
       {std::pair<std::string, std::string>{"\xFF", "a"}, {"a", "\xFF"}, {cut, "a"}, {"a", cut}}) {
    const KeychainQuery query(service, account, std::nullopt);
    EXPECT_EQ(keychain_->copyMatching(query).status, KeychainStatus::itemNotFound);
    EXPECT_EQ(keychain_->update(query, attributes), KeychainStatus::itemNotFound);
    EXPECT_EQ(keychain_->add(query, attributes), KeychainStatus::badParameter);
    EXPECT_EQ(keychain_->remove(query), KeychainStatus::itemNotFound);
  }
  EXPECT_EQ(keychain_->all().items.size(), 1u);
}

TEST_F(SecretService, AProgramThatRunsGLibItselfIsNotDisturbed) {
  enter(Keyring::unlocked);
  GDBusConnection* own = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  ASSERT_NE(own, nullptr);
  g_dbus_connection_set_exit_on_close(own, FALSE);
  // From inside of the loop, in the thread that owns its context.
  const auto use = [](gpointer keychain) -> gboolean {
    auto*& used = *static_cast<ListedKeychain**>(keychain);
    EXPECT_EQ(used->add(kept, attributes), KeychainStatus::success);
    EXPECT_EQ(used->copyMatching(kept).data, attributes.value);
    used = nullptr;
    return G_SOURCE_REMOVE;
  };
  ListedKeychain* used = keychain_.get();
  g_idle_add(use, &used);
  while (used != nullptr)
    g_main_context_iteration(nullptr, TRUE);
  EXPECT_FALSE(g_dbus_connection_is_closed(own));
  g_object_unref(own);
}

TEST_F(SecretService, InAForkedChildItIsNotAvailable) {
  enter(Keyring::unlocked);
  ASSERT_EQ(keychain_->add(kept, attributes), KeychainStatus::success);
  ChildProcess child([&] {
    alarm(1);  // at once, not when a call runs out of time
    return keychain_->copyMatching(kept).status == KeychainStatus::notAvailable ? 0 : 1;
  });
  EXPECT_EQ(child.status(), 0);
  EXPECT_EQ(keychain_->copyMatching(kept).data, attributes.value);
}

}  // namespace
}  // namespace idlewyn::platform
