// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <chrono>

#include "tests/push/GatewaySupport.hpp"

namespace idlewyn::testing {
namespace {

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

// Gives "key 1", "key 2" and so on.
RawServer::Script counting() {
  const auto count = std::make_shared<std::atomic<int>>(0);
  return [count](RawServer::Connection& connection) {
    while (!connection.readRequest().empty())
      connection.write(keyAnswer("key " + std::to_string(++*count)));
  };
}

TEST(PushGatewayClient, RemembersAKeyByEnvironmentAndToken) {
  RawServer server(counting());
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
  struct Row {
    const char* why;
    std::string answer;
    std::string outcome;
  };
  const Row rows[] = {
      {"created", status("201 Created"), server(201)},
      {"a redirection", RawServer::answer("", "307 Moved", "Location: /other\r\n"), server(307)},
      {"no relay's meaning of 401", status("401 Unauthorized"), server(401)},
      {"nor of 429", status("429 Too Many Requests"), server(429)},
      {"not HTTP", "SSH-2.0-OpenSSH_9.2\r\n", server(0)},
      {"no key", RawServer::answer(R"({"PushKey":"x"})"), "decoding pushKey"},
      {"a number for a key", RawServer::answer(R"({"pushKey":1})"), "decoding pushKey"},
      {"a list", RawServer::answer(R"(["x"])"), "decoding "},
      {"nothing", RawServer::answer(""), "decoding "},
      {"cut off", "HTTP/1.1 200 OK\r\nContent-Length: 99\r\n\r\n{\"pushKey\":\"x\"}", "-1005"},
      {"more than a key", RawServer::answer(R"({"a":[1],"pushKey":"x","b":null})"), "key x"},
      {"an empty key", RawServer::answer(R"({"pushKey":""})"), "key "},
  };
  for (const Row& row : rows) {
    // What can't be kept open ends with its connection.
    const bool closes = row.outcome == server(0) || row.outcome == "-1005";
    std::atomic<bool> isFirst = true;
    RawServer gateway([&](RawServer::Connection& connection) {
      while (!connection.readRequest().empty()) {
        const bool answersRow = isFirst.exchange(false);
        connection.write(answersRow ? row.answer : keyAnswer("later"));
        if (answersRow && closes) return;
      }
    });
    const auto client = clientOf(gateway.url("/"));
    EXPECT_EQ(ask(*client), row.outcome) << row.why;
    const bool isKey = row.outcome.starts_with("key ");
    EXPECT_EQ(ask(*client), isKey ? row.outcome : "key later") << row.why;
    EXPECT_EQ(gateway.requests().size(), isKey ? 1u : 2u) << row.why;
  }
}

TEST(PushGatewayClient, PassesTransportErrorsOn) {
  RawServer untrusted(RawServer::answering(keyAnswer("k")), RawServer::TLS(TestCertificate()));
  const std::string closed = "http://127.0.0.1:" + std::to_string(refusedPort());
  const std::pair<std::string, const char*> rows[] = {
      {untrusted.url("/"), "-1202"}, {closed, "-1004"}, {"g.example", "-1002"}};
  for (const auto& [address, outcome] : rows)
    EXPECT_EQ(ask(*clientOf(address)), outcome) << address;
  EXPECT_TRUE(untrusted.requests().empty()) << "nothing is sent to a server that isn't trusted";
}

TEST(PushGatewayClient, SendsNoTextThatIsNotUTF8) {
  RawServer server(counting());
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

}  // namespace
}  // namespace idlewyn::testing
