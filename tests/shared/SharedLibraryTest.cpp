// SPDX-License-Identifier: MIT
#include <string>

#include <gtest/gtest.h>

#include <IdlewynKit/IdlewynKit.hpp>

namespace idlewyn {
namespace {

TEST(Version, OfTheLoadedLibraryIsTheBuilds) {
  EXPECT_EQ(std::string(IdlewynKitVersionString), PROJECT_VERSION);
  EXPECT_EQ(std::string(compiledVersionString), PROJECT_VERSION);
  EXPECT_EQ(IdlewynKitVersionNumber, PROJECT_VERSION_NUMBER);
}

// Each type is thrown inside the library and caught out here by its own type.
TEST(SharedLibrary, ErrorsAreCaughtAcrossItsBorder) {
  const std::string bad = "[";
  EXPECT_THROW(JSONDecoder::relay().decode<SessionSnapshot>(bad), DecodingError);
  EXPECT_THROW(JSONEncoder::relay().encode(std::string("\xFF")), EncodingError);
  EXPECT_THROW(wait(URLSession::shared()->data(URLRequest(*URL::parse("ftp://127.0.0.1/")))),
               URLError);
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const Connection nowhere(AgentProvider::claude, URL::parse("http://127.0.0.1:1"), "t", "a",
                           Date{}, std::nullopt);
  EXPECT_THROW(wait(service.sessions(nowhere)), URLError);
  EXPECT_EQ(wait(service.snapshot({nowhere}, SessionSnapshot::empty())).errors.size(), 1u);
}

}  // namespace
}  // namespace idlewyn
