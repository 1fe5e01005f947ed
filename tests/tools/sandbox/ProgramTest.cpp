// SPDX-License-Identifier: MIT
#include <signal.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>
#include <qrencode.h>

#include "tools/sandbox-relay/QRCode.hpp"

namespace idlewyn::sandbox {
namespace {

// Runs the program by a shell: what it prints comes behind a line with its process id.
class Program {
 public:
  explicit Program(const std::string& arguments)
      : output_(popen(("echo $$; exec " SANDBOX_PROGRAM " " + arguments + " 2>&1").c_str(), "r")),
        id_(std::atoi(readLine().c_str())) {}
  ~Program() {
    if (output_ != nullptr) kill(id_, SIGKILL), pclose(output_);
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  std::string readLine() {
    std::array<char, 4096> line{};
    return std::fgets(line.data(), line.size(), output_) != nullptr ? line.data() : "";
  }
  void signal(int number) const { kill(id_, number); }
  /// The exit status, or -1 when a signal ended it.
  int wait() {
    const int status = pclose(std::exchange(output_, nullptr));
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  FILE* output_;
  pid_t id_;
};

// What it serves, and its end with its input, are tested with the command.
TEST(Program, SaysWhereItListensAndEndsOnSignals) {
  for (const int number : {SIGTERM, SIGINT}) {
    Program program("--http --code ABCD2345");
    const std::string line = program.readLine();
    EXPECT_NE(line.find(R"("address":"http://127.0.0.1:)"), std::string::npos) << line;
    EXPECT_NE(line.find(R"("pairingCode":"ABCD2345")"), std::string::npos) << line;
    program.signal(number);
    EXPECT_EQ(program.readLine(), "") << "nothing else is printed";
    EXPECT_EQ(program.wait(), 0) << number;
  }
}

TEST(Program, RefusesArgumentsThatMakeNoSense) {
  for (const char* arguments :
       {"--key dsa", "--certificate /dev/null", "--fault v1/pair=fire", "--fault v1/pair",
        "--host no.such.host.invalid", "--http --state /dev/null"}) {
    Program program(arguments);
    EXPECT_NE(program.readLine(), "") << arguments;
    while (!program.readLine().empty())
      continue;
    EXPECT_GT(program.wait(), 0) << arguments;
  }
}

TEST(QRCode, DrawsEveryModuleOfTheCodeInsideItsQuietZone) {
  const std::string text = "idlewyn://pair?url=http%3A%2F%2F127.0.0.1%3A1&code=ABCD2345";
  QRcode* code = QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L);
  ASSERT_NE(code, nullptr);
  const int width = code->width;
  std::istringstream drawn(qrCode(text));
  std::string line;
  for (int y = -4; y < width + 4; y += 2) {
    ASSERT_TRUE(std::getline(drawn, line));
    std::string_view rest = line;
    for (int x = -4; x < width + 4; ++x) {
      const bool full = rest.starts_with("█");
      const bool isLight[] = {full || rest.starts_with("▀"), full || rest.starts_with("▄")};
      rest.remove_prefix(rest.starts_with(' ') ? 1 : 3);
      for (int half = 0; half < 2 && y + half < width + 4; ++half) {
        const int row = y + half;
        const bool isInside = x >= 0 && row >= 0 && x < width && row < width;
        const bool isDark = isInside && (code->data[row * width + x] & 1) != 0;
        EXPECT_NE(isLight[half], isDark) << x << ' ' << row;
      }
    }
    EXPECT_EQ(rest, "");
  }
  EXPECT_FALSE(std::getline(drawn, line));
  QRcode_free(code);
}

}  // namespace
}  // namespace idlewyn::sandbox
