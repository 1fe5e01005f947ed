// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <initializer_list>

#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>

namespace idlewyn::platform {
namespace {

void take(ResponseReader& reader, std::initializer_list<std::string_view> lines) {
  for (const std::string_view line : lines)
    ASSERT_TRUE(reader.takeHeadLine(line));
}

TEST(ResponseReader, KeepsTheFinalHeadAlone) {
  ResponseReader reader;
  take(reader, {"HTTP/1.1 103 Early Hints\r\n", "Link: a\r\n", "\r\n"});
  take(reader, {"HTTP/1.1 200 OK\r\n", "X-A: 1\r\n", " folded\r\n", "no field\r\n"});
  EXPECT_EQ(reader.endedHeadStatus(), 0);
  take(reader, {"\r\n", "X-Trailer: 1\r\n", "HTTP/1.1 500 Late\r\n", "\r\n"});
  EXPECT_EQ(reader.endedHeadStatus(), 200);
  const HTTPResponse response = reader.finish();
  EXPECT_EQ(response.statusCode, 200);
  const std::vector<std::pair<std::string, std::string>> expected{{"X-A", "1 folded"}};
  EXPECT_EQ(response.headers, expected);
}

TEST(ResponseReader, TakesHeadAndBodyUpToTheirLimits) {
  ResponseReader reader;
  reader.expectBody(std::size_t{1} << 40);  // a server's word, not worth that much memory
  EXPECT_TRUE(reader.takeBody(std::string(ResponseReader::maximumBodySize - 1, 'x')));
  EXPECT_TRUE(reader.takeBody("x"));
  EXPECT_FALSE(reader.takeBody("x"));
  EXPECT_TRUE(reader.takeHeadLine(std::string(ResponseReader::maximumHeadSize, 'x')));
  EXPECT_FALSE(reader.takeHeadLine("x"));
}

}  // namespace
}  // namespace idlewyn::platform
