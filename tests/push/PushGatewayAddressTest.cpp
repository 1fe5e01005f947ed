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
    {"another case", R"({"vantorPushGateway":"https://g.example"})", nullptr},
    {"a number", R"({"VantorPushGateway":8443})", nullptr},
    {"an empty text", R"({"VantorPushGateway":""})", nullptr},
    {"no URL", R"({"VantorPushGateway":"https://g example"})", nullptr},
    {"a URL", R"({"VantorPushGateway":"https://g.example/p"})", "https://g.example/p"},
    {"a URL without a scheme is one", R"({"VantorPushGateway":"g.example"})", "g.example"},
};

TEST(PushGatewayClient, TakesItsAddressFromTheApplicationsInformation) {
  const TemporaryFolder folder;
  const auto file = folder.path() / "info.json";
  for (const Row& row : rows) {
    std::ofstream(file) << row.information;
    const auto address = internal::PushGatewayMaker::address(platform::Bundle(file));
    EXPECT_EQ(address, URL::parse(row.address ? row.address : "")) << row.why;
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
  EXPECT_EQ(PushGatewayClient::shared().baseURL, URL::parse("https://g.example/first"));
  EXPECT_EQ(&client, &PushGatewayClient::shared());
}

}  // namespace
}  // namespace idlewyn::testing
