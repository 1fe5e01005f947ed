// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/coding/DecodingError.hpp>
#include <IdlewynKit/platform/coding/EncodingError.hpp>

namespace idlewyn::platform {
namespace {

using Path = std::vector<CodingKey>;
using Kind = DecodingError::Kind;

TEST(DecodingError, saysWhyAndWhere) {
  const Path path{CodingKey("a"), CodingKey(std::size_t{3})};
  EXPECT_STREQ(DecodingError(Kind::keyNotFound, path, "why", "b").what(), "why (at a[3])");
  EXPECT_STREQ(EncodingError({}, "why").what(), "why");
}

TEST(CodingKey, writesPathsAsPeopleReadThem) {
  EXPECT_EQ(pathText({}), "");
  EXPECT_EQ(pathText({CodingKey(std::size_t{0}), CodingKey("a"), CodingKey("b"),
                      CodingKey(std::size_t{1}), CodingKey(std::size_t{2})}),
            "[0].a.b[1][2]");
  EXPECT_NE(CodingKey("0"), CodingKey(std::size_t{0}));
}

}  // namespace
}  // namespace idlewyn::platform
