// SPDX-License-Identifier: MIT
#include <array>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <qrencode.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "RawClient.hpp"
#include "tools/sandbox-relay/QRCode.hpp"

extern char** environ;

namespace idlewyn::sandbox {
namespace {

using platform::URL;

// The program with pipes at its standard streams; killed if it has not ended by itself.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    std::array<std::array<int, 2>, 3> pipes{};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int i = 0; i < 3; ++i) {
      if (pipe2(pipes[i].data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
      posix_spawn_file_actions_adddup2(&actions, pipes[i][i == 0 ? 0 : 1], i);
    }
    arguments.insert(arguments.begin(), SANDBOX_PROGRAM);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
      pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    if (posix_spawn(&child_, SANDBOX_PROGRAM, &actions, nullptr, pointers.data(), environ) != 0) {
      throw std::runtime_error("can't start " SANDBOX_PROGRAM);
    }
    posix_spawn_file_actions_destroy(&actions);
    for (int i = 0; i < 3; ++i) {
      close(pipes[i][i == 0 ? 0 : 1]);
      ends_[i] = pipes[i][i == 0 ? 1 : 0];
    }
  }
  ~Program() {
    if (child_ > 0) kill(child_, SIGKILL), waitpid(child_, nullptr, 0);
    for (const int end : ends_) {
      if (end >= 0) close(end);
    }
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  std::string readLine(int stream = 1) {
    std::string line;
    pollfd entry{ends_[stream], POLLIN, 0};
    char c = 0;
    while (poll(&entry, 1, 5000) > 0 && read(ends_[stream], &c, 1) == 1 && c != '\n')
      line += c;
    return line;
  }
  std::string readRest(int stream) {
    std::string rest;
    for (std::string line = readLine(stream); !line.empty(); line = readLine(stream)) {
      rest += line + '\n';
    }
    return rest;
  }
  void closeInput() {
    close(ends_[0]);
    ends_[0] = -1;
  }
  void signal(int number) { kill(child_, number); }
  /// The exit status, or -1 when a signal ended it.
  int wait() {
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t child_ = -1;
  std::array<int, 3> ends_{-1, -1, -1};
};

std::string textIn(const std::string& json, const std::string& key) {
  const auto start = json.find('"' + key + "\":\"");
  if (start == std::string::npos) return {};
  const auto value = start + key.size() + 4;
  return json.substr(value, json.find('"', value) - value);
}

TEST(Program, SaysWhereItListensAndEndsWithItsInput) {
  Program program({"--key", "rsa", "--prefix", "relay", "--code", "ABCD2345", "--manual-clock",
                   "--fault", "GET v1/settings=status=503", "--until-stdin-closes"});
  const std::string line = program.readLine();
  const auto address = URL::parse(textIn(line, "address"));
  ASSERT_TRUE(address) << line;
  EXPECT_EQ(textIn(line, "pairingCode"), "ABCD2345");
  EXPECT_TRUE(
      textIn(line, "pairingLink").ends_with("&code=ABCD2345&pin=" + textIn(line, "fingerprint")));
  RawClient client(*address);
  EXPECT_EQ(client.peerFingerprint(), textIn(line, "fingerprint"));
  const RawReply paired = client.exchange(
      requestText("POST /relay/v1/pair", {}, R"({"provider":"codex","code":"ABCD2345"})"));
  EXPECT_EQ(paired.status, 200);
  const std::string token = textIn(paired.body, "token");
  EXPECT_EQ(client.exchange(requestText("GET /relay/v1/settings", token)).status, 503);
  program.closeInput();
  EXPECT_EQ(program.readRest(1) + program.readRest(2), "") << "nothing else is printed";
  EXPECT_EQ(program.wait(), 0);
}

TEST(Program, EndsOnSignalsAndOnRequest) {
  for (const int number : {SIGTERM, SIGINT, 0}) {
    Program program({"--http"});
    const std::string line = program.readLine();
    const auto address = URL::parse(textIn(line, "address"));
    ASSERT_TRUE(address) << line;
    EXPECT_EQ(address->lowercasedScheme(), "http");
    RawClient client(*address);
    if (number != 0) {
      program.signal(number);
    } else {
      EXPECT_EQ(client.exchange(requestText("POST /sandbox/stop")).status, 200);
    }
    EXPECT_EQ(program.wait(), 0) << number;
    EXPECT_TRUE(client.closedWithin(1000));
  }
}

TEST(Program, RefusesArgumentsThatMakeNoSense) {
  const std::vector<std::vector<std::string>> cases{
      {"--key", "dsa"},
      {"--certificate", "/dev/null"},
      {"--fault", "v1/pair=fire"},
      {"--fault", "v1/pair"},
      {"--host", "no.such.host.invalid"},
      {"--http", "--state", "/dev/null"},
  };
  for (const auto& arguments : cases) {
    Program program(arguments);
    program.closeInput();
    EXPECT_NE(program.readRest(2), "") << arguments[1];
    EXPECT_GT(program.wait(), 0) << arguments[1];
  }
}

TEST(QRCode, DrawsEveryModuleOfTheCodeInsideItsQuietZone) {
  const std::string text = "idlewyn://pair?url=http%3A%2F%2F127.0.0.1%3A1&code=ABCD2345";
  QRcode* expected = QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L);
  ASSERT_NE(expected, nullptr);
  const int width = expected->width;
  std::vector<std::string> rows(static_cast<std::size_t>(width + 9));
  std::size_t row = 0;
  const std::string drawn = qrCode(text);
  for (std::size_t i = 0; i < drawn.size();) {
    const std::string_view rest = std::string_view(drawn).substr(i);
    if (rest[0] == '\n') {
      row += 2;
      ++i;
      continue;
    }
    const bool full = rest.starts_with("█");
    ASSERT_LT(row + 1, rows.size());
    rows[row] += full || rest.starts_with("▀") ? ' ' : '#';
    rows[row + 1] += full || rest.starts_with("▄") ? ' ' : '#';
    i += rest[0] == ' ' ? 1 : 3;
  }
  for (int y = -4; y < width + 4; ++y) {
    std::string line;
    for (int x = -4; x < width + 4; ++x) {
      const bool inside = x >= 0 && y >= 0 && x < width && y < width;
      line += inside && (expected->data[y * width + x] & 1) != 0 ? '#' : ' ';
    }
    EXPECT_EQ(rows[static_cast<std::size_t>(y + 4)], line) << y;
  }
  QRcode_free(expected);
}

}  // namespace
}  // namespace idlewyn::sandbox
