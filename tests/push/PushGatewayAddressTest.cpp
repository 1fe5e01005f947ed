// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>

#include "tests/push/GatewaySupport.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::testing {
namespace {

struct Row {
  const char* why;
  const char* information;
  const char* address;  // or null
};

const Row rows[] = {
    {"no dictionary", "", nullptr},
    {"no value", R"({"VantorPushGateway2":"https://g.example"})", nullptr},
    {"another case", R"({"vantorPushGateway":"https://g.example"})", nullptr},
    {"null", R"({"VantorPushGateway":null})", nullptr},
    {"a number", R"({"VantorPushGateway":8443})", nullptr},
    {"a list", R"({"VantorPushGateway":["https://g.example"]})", nullptr},
    {"an empty text", R"({"VantorPushGateway":""})", nullptr},
    {"no URL", R"({"VantorPushGateway":"https://g example"})", nullptr},
    {"blanks are no URL", R"({"VantorPushGateway":" "})", nullptr},
    {"a URL", R"({"VantorPushGateway":"https://g.example/p"})", "https://g.example/p"},
    {"a URL without a scheme is one", R"({"VantorPushGateway":"g.example"})", "g.example"},
};

std::optional<std::string> textOf(const std::optional<URL>& url) {
  return url ? std::optional(url->text()) : std::nullopt;
}

TEST(PushGatewayClient, TakesItsAddressFromTheApplicationsInformation) {
  const TemporaryFolder folder;
  const auto file = folder.path() / "info.json";
  for (const Row& row : rows) {
    std::ofstream(file) << row.information;
    const auto address = internal::PushGatewayMaker::address(platform::Bundle(file));
    const auto expected = row.address ? std::optional<std::string>(row.address) : std::nullopt;
    EXPECT_EQ(textOf(address), expected) << row.why;
    const auto client = internal::PushGatewayMaker::make(address);
    EXPECT_EQ(client->baseURL, address) << row.why;
    EXPECT_EQ(client->isConfigured(), row.address != nullptr) << row.why;
    if (!client->isConfigured()) {
      EXPECT_EQ(ask(*client), "no gateway") << row.why;
    }
  }
}

TEST(PushGatewayClient, IsOneAndReadsItsAddressOnce) {
  const TemporaryFolder folder;
  const auto file = folder.path() / "info.json";
  std::ofstream(file) << R"({"VantorPushGateway":"https://g.example/first"})";
  setenv("IDLEWYN_INFO", file.c_str(), 1);
  const PushGatewayClient& client = PushGatewayClient::shared();
  unsetenv("IDLEWYN_INFO");
  std::ofstream(file) << R"({"VantorPushGateway":"https://g.example/second"})";
  EXPECT_EQ(textOf(PushGatewayClient::shared().baseURL), "https://g.example/first");
  EXPECT_EQ(&client, &PushGatewayClient::shared());
}

}  // namespace
}  // namespace idlewyn::testing
