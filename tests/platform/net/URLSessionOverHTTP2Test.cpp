// SPDX-License-Identifier: MIT
// HTTP/2 servers that break off, fall silent, decline or never stop talking.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>

#include <boost/asio/use_future.hpp>

#include "tests/platform/net/NetSupport.hpp"
#include "tests/support/HTTP2Frames.hpp"

namespace {
std::atomic<int> epollWaits = 0;
}

// The program's, in place of the C library's: it counts.
extern "C" __attribute__((visibility("default"))) int epoll_wait(int epoll, epoll_event* events,
                                                                 int size, int timeout) {
  ++epollWaits;
  static const auto original =
      reinterpret_cast<decltype(&epoll_wait)>(dlsym(RTLD_NEXT, "epoll_wait"));
  return original(epoll, events, size, timeout);
}

namespace idlewyn::testing {
namespace {

using namespace std::chrono_literals;
using namespace http2;
using Clock = std::chrono::steady_clock;
using Connection = RawServer::Connection;

const RawServer::TLS http2TLS{.choosesHTTP2 = true};

URLRequest requestFor(std::string_view address, std::chrono::milliseconds timeout) {
  URLRequest request = testing::requestFor(address);
  request.timeoutInterval = timeout;
  return request;
}

TEST(URLSessionOverHTTP2, TakesOnlyWhatItsServerEndedForWhole) {
  const std::string oversized = std::string("\0\x4e\x20\0\1\0\0\0\1", 9) + std::string(20000, 'x');
  const std::string trailers =
      frame(headersType, endHeaders | endStream, 1, std::string("\0\1x\1y", 5));
  // libcurl 8 waits for the stream's end, whatever length was announced.
  const bool isLengthEnough = curl_version_info(CURLVERSION_NOW)->version_num < 0x080000;
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"an ended stream", ok(1), "200 ok"},
      {"ended by its head", head(1, endStream), "200 "},
      {"ended by an empty frame", head(1) + data(1, "ok") + data(1, "", endStream), "200 ok"},
      {"ended by trailers", head(1) + data(1, "ok") + trailers, "200 ok"},
      {"padded", head(1) + data(1, std::string("\3ok\0\0\0", 6), 8 | endStream), "200 ok"},
      {"of a length that was announced", headWithLength(1, 2) + data(1, "ok"),
       isLengthEnough ? "200 ok" : "-1001"},
      {"shorter than announced", headWithLength(1, 3) + data(1, "ok", endStream), "-1005"},
      {"reset without an error", head(1) + data(1, "ok") + reset(1, 0), "-1005"},
      {"reset with an error", head(1) + data(1, "ok") + reset(1, 2), "-1005"},
      {"an oversized frame", head(1) + data(1, "ok") + oversized, "-1005"},
      {"content outside any stream",
       head(1) + data(1, "ok") + data(0, "x") + data(1, "!", endStream), "-1005"},
      {"the connection's end", head(1) + data(1, "ok") + goAway(1) + "END", "-1005"},
  };
  for (const auto& [why, sent, outcome] : rows) {
    SCOPED_TRACE(why);
    RawServer server(
        [&, &text = sent](Connection& connection) {
          begin(connection);
          const bool isToEnd = text.ends_with("END");
          if (readStream(connection, true) == 0) return;
          connection.write(isToEnd ? text.substr(0, text.size() - 3) : text);
          if (!isToEnd) connection.hang();
        },
        http2TLS);
    for (const char* method : {"GET", "POST"}) {
      URLRequest request = requestFor(server.url("/"), 2s);
      request.method = method;
      EXPECT_EQ(describe(exchange(trustingSession(), request)), outcome) << method;
    }
    EXPECT_EQ(server.requests().size(), 2u) << "each sent once";
  }
}

TEST(URLSessionOverHTTP2, RepeatsGetsThatWereNotProcessedOnceAndPostsNever) {
  constexpr std::uint32_t refusedStream = 7;
  struct Row {
    const char* why;
    std::function<std::string(char)> reply;
    int refusals;  // of connections, counted from the first
    const char *get, *post;
    std::size_t gets;
  };
  const auto refuse = [&](char stream) { return reset(stream, refusedStream); };
  const auto leave = [](char) { return goAway(1); };
  const Row rows[] = {
      {"a refused stream", refuse, 1, "200 ok", "-1005", 2},
      {"a stream beyond the last", leave, 1, "200 ok", "-1005", 2},
      {"refused again", refuse, 2, "-1005", "-1005", 2},
      {"a stream that may have been processed", [](char stream) { return goAway(stream, 2); }, 1,
       "-1005", "-1005", 1},
      {"refused after the answer began",
       [&](char stream) { return head(stream) + reset(stream, refusedStream); }, 1, "-1005",
       "-1005", 1},
  };
  for (const auto& [why, reply, refusals, get, post, gets] : rows) {
    for (const bool isGet : {true, false}) {
      SCOPED_TRACE(std::string(why) + (isGet ? ", GET" : ", POST"));
      RawServer server(
          [&, &reply = reply, &refusals = refusals](Connection& connection) {
            begin(connection);
            bool isFirst = true;
            while (const char stream = readStream(connection, isFirst)) {
              const bool isRefused =
                  connection.number() < refusals && (!isFirst || connection.number() > 0);
              connection.write(isRefused ? reply(stream) : ok(stream));
              if (isRefused && reply(stream)[3] == goAwayType) return;
              isFirst = false;
            }
          },
          http2TLS);
      const auto session = trustingSession();
      ASSERT_EQ(fetch(session, server.url("/")), "200 ok");
      URLRequest request = requestFor(server.url("/"), 5s);
      if (!isGet) request.method = "POST";
      EXPECT_EQ(describe(exchange(session, request)), isGet ? get : post);
      EXPECT_EQ(server.requests().size(), 1 + (isGet ? gets : 1));
    }
  }
}

TEST(URLSessionOverHTTP2, SendsNothingOverConnectionsThatTheServerIsLeaving) {
  RawServer server(
      [](Connection& connection) {
        begin(connection);
        const char stream = readStream(connection, true);
        connection.write(ok(stream));
        std::this_thread::sleep_for(20ms);
        connection.write(goAway(stream));
        connection.record("left");
        connection.hang();
      },
      http2TLS);
  const auto session = trustingSession();
  for (std::size_t round = 1; round <= 3; ++round) {
    EXPECT_EQ(describe(exchange(session, post(server.url("/"), ""))), "200 ok");
    ASSERT_TRUE(server.waitForRequests(2 * round));
  }
  EXPECT_EQ(server.connectionCount(), 3);
}

TEST(URLSessionOverHTTP2, GivesUpAConnectionThatHasFallenSilent) {
  RawServer server(
      [](Connection& connection) {
        begin(connection);
        while (const char stream = readStream(connection)) {
          connection.write(ok(stream));
          if (connection.number() == 0) break;
        }
        connection.hang();
      },
      http2TLS);
  const auto session = trustingSession();
  EXPECT_EQ(fetch(session, server.url("/")), "200 ok");
  EXPECT_EQ(describe(exchange(session, requestFor(server.url("/"), 300ms))), "-1001");
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(describe(exchange(session, requestFor(server.url("/"), 5s))), "200 ok");
  }
  EXPECT_EQ(server.connectionCount(), 2);
}

TEST(URLSessionOverHTTP2, KeepsDeadlinesWhileServersSendFramesWithoutContent) {
  const auto repeated = [](const std::string& frame) {
    std::string text;
    while (text.size() < 64 * 1024)
      text += frame;
    return text;
  };
  const std::pair<const char*, std::string> rows[] = {
      {"PRIORITY", repeated(frame(priorityType, 0, 1, std::string(5, '\1')))},
      {"WINDOW_UPDATE", repeated(frame(windowUpdateType, 0, 0, std::string("\0\0\0\1", 4)))},
      {"empty DATA", repeated(data(1, ""))},
      {"frames of a type to come", repeated(frame(0x42, 0, 0, ""))}};
  RawServer good{RawServer::TLS()};
  const auto session = trustingSession();
  ASSERT_EQ(fetch(session, good.url("/")), "200 ok");
  for (const auto& [why, flood] : rows) {
    SCOPED_TRACE(why);
    RawServer hostile(
        [&flood = flood](Connection& connection) {
          begin(connection);
          connection.write(head(readStream(connection)));
          while (connection.write(flood))
            continue;
        },
        http2TLS);
    boost::asio::thread_pool pool(1);
    const auto begun = Clock::now();
    auto held = co_spawn(pool, session->exchange(requestFor(hostile.url("/"), 500ms)),
                         boost::asio::use_future);
    ASSERT_TRUE(hostile.waitForRequests(1));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(describe(exchange(session, requestFor(good.url("/"), 300ms))), "200 ok");
    const std::string outcome = describe(held.get());
    EXPECT_TRUE(outcome == "-1001" || outcome == "-1005") << outcome;
    EXPECT_LT(Clock::now() - begun, 1s);
  }
}

TEST(URLSessionOverHTTP2, SleepsWhileAServerGrantsNoWindow) {
  const std::string noWindow("\0\4\0\0\0\0", 6);  // SETTINGS_INITIAL_WINDOW_SIZE
  std::atomic<bool> mayGoOn = false;
  RawServer server(
      [&](Connection& connection) {
        begin(connection, noWindow);
        connection.record("begun");
        waitUntil([&] { return mayGoOn.load(); });
        connection.write(frame(windowUpdateType, 0, 1, number(1'000'000)) +
                         frame(windowUpdateType, 0, 0, number(1'000'000)));
        connection.write(ok(readStream(connection)));
        connection.hang();
      },
      http2TLS);
  boost::asio::thread_pool pool(1);
  auto posted =
      co_spawn(pool, trustingSession()->exchange(post(server.url("/"), std::string(200'000, 'x'))),
               boost::asio::use_future);
  ASSERT_TRUE(server.waitForRequests(1));
  std::this_thread::sleep_for(100ms);
  const int before = epollWaits;
  std::this_thread::sleep_for(300ms);
  EXPECT_LT(epollWaits - before, 30);
  mayGoOn = true;
  EXPECT_EQ(describe(posted.get()), "200 ok");
}

TEST(URLSessionOverHTTP2, SharesConnectionsOnceItIsKnownThatTheyCanBeShared) {
  std::atomic<int> asked = 0;
  RawServer server(
      [&](Connection& connection) {
        begin(connection);
        while (const char stream = readStream(connection)) {
          ++asked;
          connection.write(ok(stream));
        }
      },
      http2TLS);
  EXPECT_EQ(answersOf(trustingSession(), testing::requestFor(server.url("/")), 60), 60);
  EXPECT_LE(server.connectionCount(), 2);
}

TEST(URLSession, IsNotHeldUpByAHandshakeThatHangs) {
  for (const bool isShared : {false, true}) {
    RawServer server(
        [&](Connection& connection) {
          if (!isShared) return RawServer::answering(RawServer::answer("ok"))(connection);
          begin(connection);
          while (const char stream = readStream(connection))
            connection.write(ok(stream));
        },
        RawServer::TLS{.choosesHTTP2 = isShared, .silentConnections = 2});
    const auto begun = Clock::now();
    EXPECT_EQ(answersOf(trustingSession(), requestFor(server.url("/"), 1s), 20), 18);
    EXPECT_LT(Clock::now() - begun, 3s);
  }
}

}  // namespace
}  // namespace idlewyn::testing
