// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include <tests/support/TemporaryFolder.hpp>
#include <tools/relay-core/Origin.hpp>
#include <tools/relay-core/Secrets.hpp>
#include <tools/relay/state/LiveRelay.hpp>
#include <tools/relay/state/PrivateFiles.hpp>

namespace idlewyn::relay {
namespace {

struct Fixture {
  testing::TemporaryFolder temporary;
  std::string folder = (temporary.path() / "state").string();
  Date now = platform::DateClock::now();

  std::unique_ptr<StateFile> file() const { return std::make_unique<StateFile>(folder); }
};

unsigned modeOf(const std::string& path) {
  struct stat found {};
  return ::stat(path.c_str(), &found) == 0 ? found.st_mode & 0777U : 0;
}

TEST(RelayState, ComesBackWithDevicesRulesAndSettingsButNoToken) {
  const Fixture f;
  const ::mode_t before = ::umask(0);
  const auto first = f.file();
  LiveRelay relay(*first, [&] { return f.now; });
  const auto result = relay.pair(AgentProvider::codex, relay.makeCode("phone"), "192.0.2.7");
  ASSERT_EQ(result.outcome, PairingOutcome::paired);
  relay.keep(KeptRule(AgentProvider::codex, "/p", "Bash", "make"));
  relay.setApprovals(false, true);
  ::umask(before);

  EXPECT_EQ(modeOf(f.folder), 0700U);
  EXPECT_EQ(modeOf(f.folder + "/state.json"), 0600U);
  const std::string text = *readPrivateFile(f.folder + "/state.json");
  EXPECT_EQ(text.find(result.token), std::string::npos);
  EXPECT_NE(text.find(digestOf(result.token)), std::string::npos);

  const auto second = f.file();
  LiveRelay again(*second, [&] { return f.now; });
  const auto access = again.admit(result.token, "192.0.2.7");
  ASSERT_TRUE(access);
  EXPECT_EQ(access->provider, AgentProvider::codex);
  EXPECT_TRUE(again.isAllowed(KeptRule(AgentProvider::codex, "/p", "Bash", "make")));
  EXPECT_FALSE(again.isAllowed(KeptRule(AgentProvider::codex, "/p", "Bash", "make ")));
  EXPECT_FALSE(again.setRemoteApprovals(true)) << "locked";
  EXPECT_EQ(first->certificate().fingerprint, second->certificate().fingerprint);
}

TEST(RelayState, CodesEndAfterFiveMinutes) {
  Fixture f;
  const auto file = f.file();
  LiveRelay relay(*file, [&] { return f.now; });
  const std::string code = relay.makeCode("");
  f.now += PairingCodes::lifetime + std::chrono::seconds(1);
  EXPECT_EQ(relay.pair(AgentProvider::claude, code, "192.0.2.7").outcome,
            PairingOutcome::wrongCode);
}

TEST(RelayState, CountsWrongCodesByNetwork) {
  EXPECT_EQ(countedOrigin("2001:db8:1:2:3::4"), countedOrigin("2001:db8:1:2:ffff::9"));
  EXPECT_NE(countedOrigin("2001:db8:1:2:3::4"), countedOrigin("2001:db8:1:3:3::4"));
  EXPECT_EQ(countedOrigin("::ffff:192.0.2.7"), "192.0.2.7");
}

TEST(RelayState, KeepsOldStateWhenItCannotBeWritten) {
  const Fixture f;
  const auto file = f.file();
  LiveRelay relay(*file, [&] { return f.now; });
  relay.setAway(false);
  // A folder in the file's place: renaming over it fails, for the superuser too.
  std::filesystem::remove(f.folder + "/state.json");
  std::filesystem::create_directories(f.folder + "/state.json/in the way");
  EXPECT_THROW(relay.setAway(true), std::runtime_error);
  EXPECT_FALSE(relay.isAway());
  for (const auto& entry : std::filesystem::directory_iterator(f.folder))
    EXPECT_EQ(entry.path().filename().string().find("state.json."), std::string::npos)
        << "nothing is left beside";
}

TEST(RelayState, RefusesFoldersAndFilesThatAreNotPrivate) {
  const Fixture f;
  const auto refuses = [&] { EXPECT_THROW(StateFile{f.folder}, std::runtime_error); };
  std::filesystem::create_directories(f.folder);
  ::chmod(f.folder.c_str(), 0755);
  refuses();
  ::chmod(f.folder.c_str(), 0700);
  std::filesystem::create_symlink("/dev/zero", f.folder + "/state.json");
  refuses();
  std::filesystem::remove(f.folder + "/state.json");
  std::ofstream(f.folder + "/state.json") << "{";
  refuses();
}

}  // namespace
}  // namespace idlewyn::relay
