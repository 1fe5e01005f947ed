// SPDX-License-Identifier: MIT
#include <cstdlib>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <IdlewynKit/IdlewynKit.hpp>

namespace idlewyn {
namespace {

using boost::asio::ip::tcp;

TEST(Version, OfTheLoadedLibraryIsTheBuilds) {
  EXPECT_EQ(std::string(IdlewynKitVersionString), PROJECT_VERSION);
  EXPECT_EQ(std::string(compiledVersionString), PROJECT_VERSION);
  EXPECT_EQ(IdlewynKitVersionNumber, PROJECT_VERSION_NUMBER);
}

TEST(SharedLibrary, ShowsTextSafely) {
  EXPECT_EQ(displayLine("a\nb\u202E"), "a\\u{0A}b\\u{202E}");
  EXPECT_EQ(displayBlock("a\nb\u202E"), "a\nb\\u{202E}");
  EXPECT_EQ(displayJSON("[\"\u202E\"]"), "[\"\\u202E\"]");
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

// Gives every request the same answer, on a thread of its own.
class Answering {
 public:
  explicit Answering(std::string answer)
      : answer_(std::move(answer)), thread_([this] { serve(); }) {}
  ~Answering() {
    tcp::socket last(context_);
    last.connect(acceptor_.local_endpoint());  // wakes the thread; it finds no request there
    last.close();
    thread_.join();
  }
  URL address() const {
    return *URL::parse("http://127.0.0.1:" + std::to_string(acceptor_.local_endpoint().port()));
  }

 private:
  void serve() {
    std::string request;
    do {
      request.clear();
      tcp::socket socket = acceptor_.accept();
      boost::system::error_code ignored;
      boost::asio::read_until(socket, boost::asio::dynamic_buffer(request), "\r\n\r\n", ignored);
      boost::asio::write(socket, boost::asio::buffer(answer_), ignored);
    } while (!request.empty());
  }

  std::string answer_;
  boost::asio::io_context context_;
  tcp::acceptor acceptor_{context_, {boost::asio::ip::address_v4::loopback(), 0}};
  std::thread thread_;
};

Connection connectionTo(const URL& url) {
  return Connection(AgentProvider::claude, url, "token", "account", Date{}, std::nullopt);
}

// Each type is thrown inside the library and caught out here by its own type.
TEST(SharedLibrary, ErrorsAreCaughtAcrossItsBorder) {
  const std::string bad = "[";
  EXPECT_THROW(JSONDecoder::relay().decode<SessionSnapshot>(bad), DecodingError);
  EXPECT_THROW(JSONEncoder::relay().encode(std::string("\xFF")), EncodingError);
  EXPECT_THROW(wait(URLSession::shared()->data(URLRequest(*URL::parse("ftp://127.0.0.1/")))),
               URLError);
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const Connection nowhere = connectionTo(*URL::parse("http://127.0.0.1:1"));
  EXPECT_THROW(wait(service.sessions(nowhere)), URLError);
  EXPECT_EQ(wait(service.snapshot({nowhere}, SessionSnapshot::empty())).errors.size(), 1u);
  const Answering relay("HTTP/1.1 401 No\r\nContent-Length: 0\r\n\r\n");
  EXPECT_THROW(wait(service.sessions(connectionTo(relay.address()))), RelayError);
  setenv("IDLEWYN_KEYCHAIN", "nowhere", 1);
  EXPECT_THROW(KeychainStore("service").set(Data::ofText("secret"), "key"), KeychainError);
}

// What is caught as a base is still told apart behind it.
TEST(SharedLibrary, ErrorsKeepTheirTypeInAnExceptionPointer) {
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const Answering relay("HTTP/1.1 429 No\r\nContent-Length: 0\r\n\r\n");
  const SnapshotResult result =
      wait(service.snapshot({connectionTo(relay.address())}, SessionSnapshot::empty()));
  const std::exception_ptr error = result.errors.at(AgentProvider::claude);
  try {
    std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    EXPECT_EQ(relayError, RelayError::tooManyAttempts());
    EXPECT_EQ(errorDescription(error), relayError.errorDescription());
  }
}

}  // namespace
}  // namespace idlewyn
