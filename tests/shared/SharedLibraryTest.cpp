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

// An application's own service and delegate, made of what is public.
class FakeService final : public SessionService {
 public:
  using Sessions = std::vector<AgentSession>;
  boost::asio::awaitable<Connection> pair(AgentProvider provider, URL, std::string,
                                          std::optional<std::string>) const override {
    co_return Connection::demo(provider);
  }
  boost::asio::awaitable<Sessions> sessions(Connection) const override { co_return Sessions(); }
  boost::asio::awaitable<void> decide(PermissionDecision, std::string, Connection) const override {
    co_return;
  }
  boost::asio::awaitable<bool> remoteApprovals(Connection) const override { co_return true; }
  boost::asio::awaitable<bool> setRemoteApprovals(bool on, Connection) const override {
    co_return on;
  }
  boost::asio::awaitable<void> registerPushToken(PushTokenRegistration, Connection) const override {
    co_return;
  }
  boost::asio::awaitable<void> unpair(Connection) const override { co_return; }
};

template <class T>
concept TakesSnapshots = requires(const T& service) {
  service.snapshot({}, SessionSnapshot());
};
static_assert(TakesSnapshots<LiveSessionService> && !TakesSnapshots<SessionService>);

TEST(SharedLibrary, AServiceOfOnesOwnStandsInForTheLiveOne) {
  const FakeService fake;
  const SessionService& service = fake;
  EXPECT_TRUE(wait(service.remoteApprovals(Connection::demo(AgentProvider::codex))));
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
