// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/Hexadecimal.hpp>
#include <IdlewynKit/platform/crypto/SHA256.hpp>

namespace idlewyn::platform {
namespace {

TEST(SHA256, GivesTheDigestsOfTheStandardsExamples) {
  const std::pair<std::string, const char*> rows[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(1'000'000, 'a'),
       "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
  };
  for (const auto& [text, digest] : rows) {
    EXPECT_EQ(hexadecimal(sha256(Data::ofText(text).bytes())), digest);
  }
}

}  // namespace
}  // namespace idlewyn::platform
