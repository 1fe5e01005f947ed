// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/URLRequest.hpp>
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>

namespace idlewyn::platform {
namespace {

TEST(URLRequest, HoldsOneFieldOfEachNameWithoutRegardToCase) {
  URLRequest request(*URL::parse("https://relay.example"));
  EXPECT_EQ(request.method, "GET");
  EXPECT_EQ(request.timeoutInterval.count(), 60);
  EXPECT_EQ(request.header("Accept"), std::nullopt);
  request.headers = {{"ACCEPT", "1"}, {"X-A", "2"}, {"accept", "3"}};
  request.setHeader("Accept", "4");
  request.setHeader("X-B", "5");
  const std::vector<std::pair<std::string, std::string>> expected{
      {"ACCEPT", "4"}, {"X-A", "2"}, {"X-B", "5"}};
  EXPECT_EQ(request.headers, expected);
  EXPECT_EQ(request.header("x-a"), "2");
}

TEST(PreparedRequest, IsDialledAsItIsWritten) {
  struct Row {
    const char* address;
    const char* origin;  // null: refused
    const char* why;
  };
  const Row rows[] = {
      {"https://Relay.Example/x", "https://relay.example|443", "host without case"},
      {"HTTP://relay.example:/x", "http://relay.example|80", "an empty port is none"},
      {"http://relay.example:0080/x", "http://relay.example|80", "leading zeros"},
      {"https://u:p@relay.example:8443", "https://relay.example|8443", "no user information"},
      {"http://[::1]:81/x", "http://::1|81", "an IPv6 address"},
      {"http://a@b@c/", nullptr, "two at signs"},
      {"http://a%2eb/", nullptr, "a host that is read decoded"},
      {"http://@/", nullptr, "user information and no host"},
      {"http://2130706433/", nullptr, "a number that libcurl dials as an address"},
      {"http://relay.example:65536/", nullptr, "no such port"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.address) + ": " + row.why);
    const auto url = URL::parse(row.address);
    if (!url) {
      EXPECT_EQ(row.origin, nullptr);
      continue;
    }
    const auto prepared = prepare(URLRequest(*url));
    if (const auto* error = std::get_if<URLError>(&prepared)) {
      EXPECT_EQ(row.origin, nullptr) << error->reason;
      EXPECT_EQ(error->code, URLErrorCode::badURL);
    } else {
      ASSERT_NE(row.origin, nullptr);
      EXPECT_EQ(std::get<PreparedRequest>(prepared).origin, row.origin);
    }
  }
}

}  // namespace
}  // namespace idlewyn::platform
