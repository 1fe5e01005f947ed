// SPDX-License-Identifier: MIT
#include <tools/relay/agents/install/HookFiles.hpp>

#include <filesystem>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/Files.hpp>
#include <tests/support/TemporaryFolder.hpp>

namespace idlewyn::relay {
namespace {

namespace fs = std::filesystem;

class HookFilesTest : public ::testing::Test {
 protected:
  HookFilesTest() {
    options_.home = folder_.path().string();
    options_.program = "/usr/lib/idlewyn-relay-hook";
    fs::create_directories(folder_.path() / ".claude");
    testing::overwrite(claude_, mine_);
  }

  int run(HookAction action, const std::string& input = {}) {
    options_.action = action;
    std::istringstream in(input);
    out_.str({});
    return runHooks(options_, in, out_);
  }

  testing::TemporaryFolder folder_;
  fs::path claude_ = folder_.path() / ".claude" / "settings.json";
  std::string mine_ = "{\"hooks\": {\"Stop\": [{\"mine\": 1}]}}\n";
  HookFilesOptions options_;
  std::ostringstream out_;
};

TEST_F(HookFilesTest, InstallsBesideThePersonsOwnAndRemovesAgain) {
  options_.isSure = true;
  fs::permissions(claude_, fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(run(HookAction::install), 0);
  EXPECT_NE(testing::contentOf(claude_).find("idlewyn-relay-hook claude Stop"), std::string::npos);
  EXPECT_NE(testing::contentOf(claude_).find("{\"mine\": 1}"), std::string::npos);
  EXPECT_EQ(testing::contentOf(claude_.string() + ".before-idlewyn"), mine_);
  EXPECT_EQ(fs::status(claude_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(run(HookAction::show), 0);
  EXPECT_NE(out_.str().find("Stop, "), std::string::npos) << out_.str();
  EXPECT_EQ(run(HookAction::install), 0);
  EXPECT_NE(out_.str().find("nothing to change"), std::string::npos);
  EXPECT_EQ(run(HookAction::remove), 0);
  EXPECT_EQ(testing::contentOf(claude_), mine_);
}

TEST_F(HookFilesTest, AsksAndTellsCodexsUsersToTrustTheHooks) {
  fs::create_directories(folder_.path() / ".codex");
  fs::remove_all(claude_.parent_path());
  const fs::path file = folder_.path() / ".codex" / "hooks.json";
  EXPECT_EQ(run(HookAction::install), 1) << "nobody to ask";
  options_.isTerminal = true;
  EXPECT_EQ(run(HookAction::install, "n\n"), 1);
  EXPECT_FALSE(fs::exists(file));
  EXPECT_EQ(run(HookAction::install, "y\n"), 0);
  EXPECT_TRUE(fs::exists(file));
  EXPECT_NE(out_.str().find("trust"), std::string::npos);
}

TEST_F(HookFilesTest, LeavesWhatIsNoJSONAndGoesOn) {
  testing::overwrite(claude_, "{\n  // comment\n}");
  fs::create_directories(folder_.path() / ".codex");
  options_.isSure = true;
  EXPECT_EQ(run(HookAction::install), 1);
  EXPECT_NE(out_.str().find("line 2, column 3"), std::string::npos) << out_.str();
  EXPECT_EQ(testing::contentOf(claude_), "{\n  // comment\n}");
  EXPECT_TRUE(fs::exists(folder_.path() / ".codex" / "hooks.json"));
}

TEST_F(HookFilesTest, KeepsEveryCopyAndFollowsAMovedRelay) {
  options_.isSure = true;
  EXPECT_EQ(run(HookAction::install), 0);
  const std::string first = testing::contentOf(claude_);
  options_.socket = "/elsewhere/hook.sock";
  EXPECT_EQ(run(HookAction::install), 0);
  EXPECT_NE(testing::contentOf(claude_).find("--socket /elsewhere/hook.sock"), std::string::npos);
  EXPECT_EQ(testing::contentOf(claude_.string() + ".before-idlewyn"), mine_);
  EXPECT_EQ(testing::contentOf(claude_.string() + ".before-idlewyn-2"), first);
  EXPECT_EQ(run(HookAction::remove), 0);
  EXPECT_EQ(testing::contentOf(claude_), mine_);
  options_.socket.clear();
  EXPECT_EQ(run(HookAction::install), 0);
  EXPECT_NE(out_.str().find(".before-idlewyn."), std::string::npos) << "the first copy is the same";
}

TEST_F(HookFilesTest, LeavesAFileThatCannotBeRead) {
  options_.isSure = true;
  fs::remove(claude_);
  fs::create_symlink(claude_, claude_);  // unreadable for everyone
  for (const HookAction action : {HookAction::install, HookAction::remove, HookAction::show}) {
    EXPECT_EQ(run(action), 1);
    EXPECT_NE(out_.str().find("can't be read"), std::string::npos) << out_.str();
    EXPECT_TRUE(fs::is_symlink(claude_));
  }
}

TEST_F(HookFilesTest, WantsToKnowTheAgentOfAnEmptyFolder) {
  const fs::path own = folder_.path() / "own";
  fs::create_directories(own);
  options_.folders = {own.string()};
  options_.isSure = true;
  EXPECT_EQ(run(HookAction::install), 1);
  EXPECT_NE(out_.str().find("--agent"), std::string::npos);
  options_.agent = "codex";
  EXPECT_EQ(run(HookAction::install), 0);
  EXPECT_TRUE(fs::exists(own / "hooks.json"));
}

}  // namespace
}  // namespace idlewyn::relay
