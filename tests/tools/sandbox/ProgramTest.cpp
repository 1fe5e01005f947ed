// SPDX-License-Identifier: MIT
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <qrencode.h>

#include <tools/relay-core/QRCode.hpp>

namespace idlewyn::sandbox {
namespace {

// What a shell prints, and the status with which it ends.
std::pair<std::string, int> shell(const std::string& command) {
  FILE* output = popen(("exec 2>&1; " + command).c_str(), "r");
  std::string text;
  for (int byte; (byte = std::fgetc(output)) != EOF;)
    text += static_cast<char>(byte);
  const int status = pclose(output);
  return {text, WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

// What it serves, and its end with its input, are tested with the command.
TEST(Program, SaysWhereItListensAndEndsOnSignals) {
  for (const std::string signal : {"TERM", "INT"}) {
    const std::string start = "sh -c 'echo $$; exec " SANDBOX_PROGRAM " --http --code ABCD2345'";
    const auto [text, status] =
        shell("{ " + start + "; echo status $?; } | " +
              "{ read -r id; read -r line; echo \"$line\"; kill -s " + signal + " $id; cat; }");
    EXPECT_NE(text.find(R"("address":"http://127.0.0.1:)"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("pairingCode":"ABCD2345")"), std::string::npos) << text;
    EXPECT_EQ(text.substr(text.find('\n')), "\nstatus 0\n") << signal;
  }
}

TEST(Program, RefusesArgumentsThatMakeNoSense) {
  for (const char* arguments :
       {"--key dsa", "--certificate /dev/null", "--fault v1/pair=fire", "--fault v1/pair",
        "--host no.such.host.invalid", "--http --state /dev/null"}) {
    const auto [text, status] = shell(std::string(SANDBOX_PROGRAM " ") + arguments);
    EXPECT_NE(text, "") << arguments;
    EXPECT_GT(status, 0) << arguments;
  }
}

TEST(QRCode, DrawsEveryModuleOfTheCodeInsideItsQuietZone) {
  const std::string text = "idlewyn://pair?url=http%3A%2F%2F127.0.0.1%3A1&code=ABCD2345";
  QRcode* code = QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L);
  ASSERT_NE(code, nullptr);
  const int end = code->width + 4;
  const auto isLight = [&](int x, int y) {
    const bool isInside = std::min(x, y) >= 0 && std::max(x, y) < code->width;
    const bool isDark = isInside && (code->data[y * code->width + x] & 1) != 0;
    return y < end && !isDark ? 1u : 0u;
  };
  std::string expected;
  for (int y = -4; y < end; y += 2, expected += '\n') {
    for (int x = -4; x < end; ++x)
      expected += std::array{" ", "▀", "▄", "█"}[isLight(x, y) + 2 * isLight(x, y + 1)];
  }
  QRcode_free(code);
  EXPECT_EQ(relay::qrCode(text), expected);
}

}  // namespace
}  // namespace idlewyn::sandbox
