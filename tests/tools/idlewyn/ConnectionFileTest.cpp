// SPDX-License-Identifier: MIT
#include "tools/idlewyn/ConnectionFile.hpp"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/idlewyn/Failure.hpp"

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

Connection connection(AgentProvider provider, const std::string& account) {
  return Connection(provider, URL::parse("https://relay.example/x"), "secret-token", account,
                    platform::dateFromReferenceSeconds(800'000'000.125), std::string(64, 'a'));
}

class ConnectionFileTest : public ::testing::Test {
 protected:
  ConnectionFileTest() {
    std::string path = (fs::temp_directory_path() / "connections-XXXXXX").native();
    root_ = mkdtemp(path.data());
  }
  ~ConnectionFileTest() override { fs::remove_all(root_); }

  static mode_t mode(const fs::path& path) {
    struct stat status {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 0777;
  }
  static void write(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << text;
    fs::permissions(path, fs::perms::owner_read | fs::perms::owner_write);
  }
  static std::string read(const fs::path& path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }

  fs::path root_;
};

TEST_F(ConnectionFileTest, KeepsConnectionsBitForBitForTheirOwnerAlone) {
  ConnectionFile file(root_ / "a/b/idlewyn");
  EXPECT_TRUE(file.load().empty());
  EXPECT_FALSE(fs::exists(root_ / "a")) << "reading makes nothing";
  const std::vector<Connection> list{connection(AgentProvider::codex, "x"),
                                     Connection::demo(AgentProvider::claude)};
  const mode_t before = umask(0);
  file.update([&](auto& connections) { connections = list; });
  umask(before);
  EXPECT_EQ(ConnectionFile(root_ / "a/b/idlewyn").load(), list);
  EXPECT_EQ(mode(file.file()), 0600u);
  EXPECT_EQ(mode(root_ / "a/b/idlewyn"), 0700u);
  EXPECT_EQ(mode(root_ / "a"), 0700u);
}

TEST_F(ConnectionFileTest, RefusesWhatItCantReadAndLeavesItAlone) {
  struct Row {
    std::string text, reason;
  };
  const std::vector<Row> rows{
      {"", "an empty file was not written by us"},
      {"[{\"provider\":\"claude\",\"accessToken\":\"secret-tok", "cut short"},
      {R"([{"provider":"secret-token","accessToken":"t","accountName":"a","connectedAt":1}])",
       "an agent of a later version"},
      {R"([{"provider":"claude","accessToken":["secret-token"],"accountName":"a"}])",
       "a token of another type"},
      {std::string(2 << 20, ' ') + "[]", "larger than any list"},
  };
  ConnectionFile file(root_);
  for (const Row& row : rows) {
    write(file.file(), row.text);
    bool wasCalled = false;
    try {
      file.update([&](auto&) { wasCalled = true; });
      ADD_FAILURE() << row.reason;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.kind, "storage");
      EXPECT_EQ(failure.message.find("secret"), std::string::npos) << failure.message;
      EXPECT_NE(failure.message.find("connections.json"), std::string::npos);
    }
    EXPECT_FALSE(wasCalled) << row.reason;
    EXPECT_EQ(read(file.file()), row.text) << row.reason;
  }
}

TEST_F(ConnectionFileTest, RefusesAFileThatOthersMayUseAndALink) {
  ConnectionFile file(root_);
  const auto refusal = [&] {
    try {
      file.update([](auto& list) { list.clear(); });
    } catch (const Failure& failure) {
      return failure.message;
    }
    return std::string();
  };
  for (const unsigned mode : {0640u, 0604u, 0620u, 0601u}) {
    write(file.file(), "[]");
    chmod(file.file().c_str(), mode);
    EXPECT_NE(refusal().find("chmod 600"), std::string::npos) << mode;
    EXPECT_EQ(ConnectionFileTest::mode(file.file()), mode);
  }
  if (geteuid() == 0) {
    write(file.file(), "[]");
    ASSERT_EQ(chown(file.file().c_str(), 1, 1), 0);
    EXPECT_NE(refusal().find("another user"), std::string::npos);
  }
  fs::remove(file.file());
  write(root_ / "target", "[]");
  fs::create_symlink(root_ / "target", file.file());
  EXPECT_NE(refusal().find("symbolic link"), std::string::npos);
  EXPECT_TRUE(fs::is_symlink(file.file()));
}

TEST_F(ConnectionFileTest, EndsWaitingAtItsLimitOrWhenThePauseSaysSo) {
  const auto ignore = [](std::chrono::milliseconds) {};
  const auto interrupt = [](std::chrono::milliseconds) { throw interruption(); };
  ConnectionFile(root_).update([&](auto&) {
    for (const auto& [file, kind] :
         {std::pair(std::make_shared<ConnectionFile>(root_, ignore, std::chrono::milliseconds(5)),
                    "storage"),
          std::pair(std::make_shared<ConnectionFile>(root_, interrupt), "interrupted")}) {
      try {
        file->prepare();
        ADD_FAILURE() << kind;
      } catch (const Failure& failure) {
        EXPECT_EQ(failure.kind, kind);
      }
    }
  });
}

TEST_F(ConnectionFileTest, NeitherHangsOnAPipeNorFollowsAnOldTemporaryFile) {
  ConnectionFile file(root_);
  ASSERT_EQ(mkfifo(file.file().c_str(), 0600), 0);
  EXPECT_THROW(file.load(), Failure);
  fs::remove(file.file());

  write(root_ / "elsewhere", "untouched");
  fs::create_symlink(root_ / "elsewhere", root_ / "connections.json.new");
  file.update([](auto& list) { list.push_back(connection(AgentProvider::claude, "x")); });
  EXPECT_EQ(read(root_ / "elsewhere"), "untouched");
  EXPECT_EQ(file.load().size(), 1u);
  EXPECT_FALSE(fs::exists(root_ / "connections.json.new"));
}

TEST_F(ConnectionFileTest, LosesNoChangeOfAnotherProcess) {
  // Each instance opens the lock file itself, which for flock is like a process of its own.
  constexpr int writers = 4, rounds = 25;
  std::vector<std::thread> threads;
  for (int i = 0; i < writers; ++i) {
    threads.emplace_back([&, i] {
      ConnectionFile file(root_);
      for (int round = 0; round < rounds; ++round) {
        file.update([&](auto& list) {
          list.push_back(connection(AgentProvider::claude, std::to_string(i)));
        });
      }
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(ConnectionFile(root_).load().size(), static_cast<std::size_t>(writers * rounds));
}

TEST_F(ConnectionFileTest, StandsWhereTheEnvironmentSays) {
  const std::string home = std::getenv("HOME") == nullptr ? "" : std::getenv("HOME");
  const auto directory = [](const char* data, const char* newHome) {
    data == nullptr ? unsetenv("XDG_DATA_HOME") : setenv("XDG_DATA_HOME", data, 1);
    newHome == nullptr ? unsetenv("HOME") : setenv("HOME", newHome, 1);
    return ConnectionFile::defaultDirectory();
  };
  EXPECT_EQ(directory("/data", "/home/x"), "/data/idlewyn");
  EXPECT_EQ(directory(nullptr, "/home/x"), "/home/x/.local/share/idlewyn");
  EXPECT_EQ(directory("", "/home/x"), "/home/x/.local/share/idlewyn");
  EXPECT_EQ(directory("not/absolute", "/home/x"), "/home/x/.local/share/idlewyn");
  EXPECT_THROW(directory("", nullptr), Failure);
  setenv("HOME", home.c_str(), 1);
}

TEST_F(ConnectionFileTest, AsksForAnAgentOnlyWhereSeveralFit) {
  ConnectionFile file(root_);
  EXPECT_THROW(file.onlyOne(std::nullopt), Failure);
  file.update([](auto& list) { list.push_back(connection(AgentProvider::codex, "x")); });
  EXPECT_EQ(file.onlyOne(std::nullopt).accountName, "x");
  EXPECT_THROW(file.onlyOne(AgentProvider::claude), Failure);
  file.update([](auto& list) { list.push_back(connection(AgentProvider::claude, "y")); });
  EXPECT_EQ(file.onlyOne(AgentProvider::claude).accountName, "y");
  file.update([](auto& list) { list.push_back(connection(AgentProvider::claude, "z")); });
  EXPECT_EQ(file.onlyOne(AgentProvider::claude).accountName, "z") << "the last of duplicates";
  try {
    file.onlyOne(std::nullopt);
    ADD_FAILURE() << "two agents fit";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code, ExitCode::usage);
  }
}

}  // namespace
}  // namespace idlewyn::command
