// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/thread_pool.hpp>

#include <IdlewynKit/push/internal/PushGatewayMaker.hpp>

#include "tests/support/ErrorText.hpp"
#include "tests/support/RawServer.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;
using Key = std::optional<std::string>;

std::unique_ptr<PushGatewayClient> clientOf(std::string_view address) {
  return internal::PushGatewayMaker::make(URL::parse(address));
}

std::string keyAnswer(const std::string& key) {
  return RawServer::answer("{\"pushKey\":\"" + key + "\"}");
}

std::string outcomeOf(const std::exception_ptr& error, const Key& key) {
  if (error) return errorText(error);
  return key ? "key " + *key : "no gateway";
}

/// "key K", "no gateway" or an error's text.
std::string ask(PushGatewayClient& client, std::string token = "00ff",
                std::string environment = "production") {
  try {
    return outcomeOf({}, platform::wait(client.pushKey(std::move(token), std::move(environment))));
  } catch (...) {
    return outcomeOf(std::current_exception(), {});
  }
}

TEST(PushGatewayClient, TakesItsAddressFromTheApplicationsInformation) {
  const std::tuple<const char*, const char*, std::string> rows[] = {
      {"no dictionary", "", ""},
      {"another case", R"({"vantorPushGateway":"https://g.example"})", ""},
      {"a number", R"({"VantorPushGateway":8443})", ""},
      {"an empty text", R"({"VantorPushGateway":""})", ""},
      {"no URL", R"({"VantorPushGateway":"https://g example"})", ""},
      {"a URL", R"({"VantorPushGateway":"https://g.example/p"})", "https://g.example/p"},
      {"a URL without a scheme is one", R"({"VantorPushGateway":"g.example"})", "g.example"},
  };
  const TemporaryFolder folder;
  const auto file = folder.path() / "info.json";
  for (const auto& [why, information, expected] : rows) {
    std::ofstream(file) << information;
    const auto address = internal::PushGatewayMaker::address(platform::Bundle(file));
    EXPECT_EQ(address, URL::parse(expected)) << why;
    const auto client = internal::PushGatewayMaker::make(address);
    EXPECT_EQ(client->baseURL, address) << why;
    EXPECT_EQ(client->isConfigured(), !expected.empty()) << why;
    if (expected.empty()) {
      EXPECT_EQ(ask(*client), "no gateway") << why;
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

TEST(PushGatewayClient, SendsTokenAndEnvironmentBelowItsAddress) {
  const std::pair<const char*, const char*> rows[] = {
      {"", "/v1/register"},
      {"/gate/way", "/gate/way/v1/register"},
      {"/gate/", "/gate/v1/register"},
      {"/gate?x=1", "/gate/v1/register?x=1"},
  };
  const std::string environment = "\"sand\\box\" é";
  for (const auto& [path, target] : rows) {
    RawServer server(RawServer::answering(keyAnswer("k")));
    EXPECT_EQ(ask(*clientOf(server.url(path)), "00ff", environment), "key k");
    ASSERT_EQ(server.requests().size(), 1u);
    const std::string request = server.requests()[0];
    EXPECT_TRUE(request.starts_with("POST " + std::string(target) + " HTTP/1.1\r\n")) << request;
    EXPECT_NE(request.find("\r\nContent-Type: application/json\r\n"), request.npos) << request;
    EXPECT_EQ(request.find("\r\nAuthorization:"), request.npos);
    const std::string text = request.substr(request.find("\r\n\r\n") + 4);
    EXPECT_EQ(text, R"({"environment":"\"sand\\box\" é","token":"00ff"})");
  }
}

TEST(PushGatewayClient, RemembersAKeyByEnvironmentAndToken) {
  std::atomic<int> count = 0;
  RawServer server([&](RawServer::Connection& connection) {
    while (!connection.readRequest().empty())
      connection.write(keyAnswer("key " + std::to_string(++count)));
  });
  const auto client = clientOf(server.url("/"));
  EXPECT_EQ(ask(*client, "aa", "production"), "key key 1");
  EXPECT_EQ(ask(*client, "aa", "production"), "key key 1");
  EXPECT_EQ(ask(*client, "aa", "sandbox"), "key key 2");
  EXPECT_EQ(ask(*client, "bb", "production"), "key key 3");
  EXPECT_EQ(ask(*client, "aa", "sandbox"), "key key 2");
  EXPECT_EQ(server.requests().size(), 3u);
  EXPECT_EQ(ask(*clientOf(server.url("/")), "aa", "production"), "key key 4") << "another client";
}

TEST(PushGatewayClient, AcceptsNothingBut200WithAKeyAndRemembersNoFailure) {
  const auto status = [](const char* line) {
    return RawServer::answer(R"({"pushKey":"x"})", line);
  };
  const auto server = [](int code) { return RelayError::server(code).errorDescription(); };
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"created", status("201 Created"), server(201)},
      {"a redirection", RawServer::answer("", "307 Moved", "Location: /other\r\n"), server(307)},
      {"no relay's meaning of 401", status("401 Unauthorized"), server(401)},
      {"nor of 429", status("429 Too Many Requests"), server(429)},
      {"not HTTP", "SSH-2.0-OpenSSH_9.2\r\n", server(0)},
      {"no key", RawServer::answer(R"({"PushKey":"x"})"), "decoding pushKey"},
      {"a number for a key", RawServer::answer(R"({"pushKey":1})"), "decoding pushKey"},
      {"nothing", RawServer::answer(""), "decoding "},
      {"cut off", "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{\"pushKey\":\"x\"}", "-1005"},
      {"an empty key", RawServer::answer(R"({"pushKey":""})"), "key "},
  };
  for (const auto& [why, answer, outcome] : rows) {
    // What can't be kept open ends with its connection.
    const bool closes = outcome == server(0) || outcome == "-1005";
    std::atomic<bool> isFirst = true;
    RawServer gateway([&, &first = answer](RawServer::Connection& connection) {
      while (!connection.readRequest().empty()) {
        const bool answersRow = isFirst.exchange(false);
        connection.write(answersRow ? first : keyAnswer("later"));
        if (answersRow && closes) return;
      }
    });
    const auto client = clientOf(gateway.url("/"));
    EXPECT_EQ(ask(*client), outcome) << why;
    const bool isKey = outcome.starts_with("key ");
    EXPECT_EQ(ask(*client), isKey ? outcome : "key later") << why;
    EXPECT_EQ(gateway.requests().size(), isKey ? 1u : 2u) << why;
  }
}

TEST(PushGatewayClient, SendsNoTextThatIsNotUTF8) {
  RawServer server;
  const auto client = clientOf(server.url("/"));
  EXPECT_EQ(ask(*client, "\xFF", "production"), "encoding");
  EXPECT_EQ(ask(*client, "00", "\xC3"), "encoding");
  EXPECT_EQ(server.connectionCount(), 0);
}

TEST(PushGatewayClient, WaitsTenSeconds) {
  RawServer server([](RawServer::Connection& connection) {
    connection.readRequest();
    connection.hang();
  });
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(ask(*clientOf(server.url("/"))), "-1001");
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - begin;
  EXPECT_GT(waited.count(), 9.9);
  EXPECT_LT(waited.count(), 14);
}

TEST(PushGatewayClient, OverlappingCallsBothSendAndTheLastOneIsRemembered) {
  std::atomic<bool> isFastOver = false;
  RawServer server([&](RawServer::Connection& connection) {
    connection.readRequest();
    const bool isSlow = connection.number() == 0;
    // An answer only when both calls have missed, the slow one's when the other has ended.
    EXPECT_TRUE(waitUntil([&] { return isSlow ? isFastOver.load() : connection.number() == 1; }));
    connection.write(keyAnswer(isSlow ? "slow" : "fast"));
  });
  const auto client = clientOf(server.url("/"));
  std::vector<std::string> ended;
  asio::io_context context;
  for (int i = 0; i < 2; ++i) {
    asio::co_spawn(context, client->pushKey("00", "e"), [&](std::exception_ptr error, Key key) {
      ended.push_back(outcomeOf(error, key));
      isFastOver = true;
    });
  }
  context.run();
  EXPECT_EQ(ended, (std::vector<std::string>{"key fast", "key slow"}));
  EXPECT_EQ(server.requests().size(), 2u);
  EXPECT_EQ(ask(*client, "00", "e"), "key slow");
  EXPECT_EQ(server.requests().size(), 2u);
}

TEST(PushGatewayClient, GivesEachOfManyThreadsItsOwnKey) {
  RawServer server([](RawServer::Connection& connection) {
    for (std::string request; !(request = connection.readRequest()).empty();)
      connection.write(keyAnswer(request.substr(request.rfind(':') + 2, 2)));  // its token
  });
  const auto client = clientOf(server.url("/"));
  std::atomic<int> right = 0;
  asio::thread_pool pool(4);
  for (int i = 0; i < 200; ++i) {
    const std::string token = "t" + std::to_string(i % 7);
    asio::co_spawn(pool, client->pushKey(token, "e"),
                   [&, token](std::exception_ptr error, Key key) {
                     right += outcomeOf(error, key) == "key " + token;
                   });
  }
  pool.join();
  EXPECT_EQ(right, 200);
  const std::size_t sent = server.requests().size();
  for (int i = 0; i < 7; ++i)
    EXPECT_EQ(ask(*client, "t" + std::to_string(i), "e"), "key t" + std::to_string(i));
  EXPECT_EQ(server.requests().size(), sent);
}

// The types of cancellation, and every moment of an exchange, are the session's own tests.
TEST(PushGatewayClient, ACancelledCallIsNotRememberedAndACallMayOutliveItsClient) {
  std::atomic<bool> hangs = true, isGone = false;
  RawServer server([&](RawServer::Connection& connection) {
    const bool isLate = connection.readRequest().find("\"late\"") != std::string::npos;
    if (hangs && !isLate) connection.hang();
    waitUntil([&] { return isGone || !isLate; });
    connection.write(keyAnswer("k"));
  });
  auto client = clientOf(server.url("/"));
  asio::io_context context;
  asio::cancellation_signal signal;
  std::string cancelled, late;
  asio::co_spawn(context, client->pushKey("late", "e"),
                 [&](std::exception_ptr error, Key key) { late = outcomeOf(error, key); });
  asio::co_spawn(context, client->pushKey("00", "e"),
                 asio::bind_cancellation_slot(signal.slot(), [&](auto error, Key key) {
                   cancelled = outcomeOf(error, key);
                 }));
  while (server.requests().size() < 2)
    context.run_for(std::chrono::milliseconds(1));
  signal.emit(asio::cancellation_type::terminal);
  while (cancelled.empty())
    context.run_one();
  EXPECT_EQ(cancelled, "-999");
  hangs = false;
  EXPECT_EQ(ask(*client, "00", "e"), "key k");
  EXPECT_EQ(server.requests().size(), 3u);
  EXPECT_EQ(late, "");
  client.reset();
  isGone = true;
  context.run();
  EXPECT_EQ(late, "key k");
}

}  // namespace
}  // namespace idlewyn::testing
