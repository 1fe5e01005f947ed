// SPDX-License-Identifier: MIT
// What goes over the wire and what comes back when nothing fails.
#include <gtest/gtest.h>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

using Connection = RawServer::Connection;

std::string lineOf(const std::string& request, std::string_view name) {
  const auto at = request.find("\r\n" + std::string(name) + ":");
  if (at == std::string::npos) return "(absent)";
  return request.substr(at + 2, request.find("\r\n", at + 2) - at - 2);
}

TEST(URLSession, SendsNothingThatWasNotAskedFor) {
  RawServer server;
  const auto session = URLSession::ephemeral();
  const char* user = "user:secret@127.0.0.1";
  EXPECT_EQ(fetch(session, server.url("/v1/sessions?provider=claude#part", user)), "200 ok");
  const std::string host = "Host: 127.0.0.1:" + std::to_string(server.port());
  EXPECT_EQ(server.requests().at(0), "GET /v1/sessions?provider=claude HTTP/1.1\r\n" + host +
                                         "\r\nAccept-Encoding: deflate, gzip, br, zstd\r\n\r\n");

  URLRequest request = post(server.url("/p"), std::string("a\0b", 3));
  request.setHeader("Authorization", "Bearer t");
  request.setHeader("X-Empty", "");
  request.setHeader("content-length", "99999");  // the transport's own: not sent as given
  request.setHeader("Transfer-Encoding", "chunked");
  EXPECT_EQ(describe(exchange(session, request)), "200 ok");
  EXPECT_EQ(server.requests().at(1),
            "POST /p HTTP/1.1\r\n" + host +
                "\r\nAccept-Encoding: deflate, gzip, br, zstd\r\nAuthorization: Bearer t\r\n"
                "X-Empty:\r\nContent-Length: 3\r\n\r\n" +
                std::string("a\0b", 3));
}

TEST(URLSession, SendsTheAddressByteForByteAndFramesEachMethodAsItsContentAsks) {
  // Without content there is no length but where servers want to know where it ends; any method
  // may carry content, and is sent in the case that was written.
  struct Row {
    const char *method, *address, *target, *contentLength;
    std::optional<std::string> body = std::nullopt;
  };
  const Row rows[] = {
      {"GET", "", "/", "(absent)"},
      {"get", "/v1/./x/%2e%2E/%2f", "/v1/./x/%2e%2E/%2f", "(absent)"},
      {"GET", "/p?a=%00%0A&b=c?d/e", "/p?a=%00%0A&b=c?d/e", "Content-Length: 2", "{}"},
      {"POST", "//double//slash", "//double//slash", "Content-Length: 0"},
      {"POST", "/", "/", "Content-Length: 0", ""},
      {"DELETE", "/", "/", "(absent)"},
      {"DELETE", "/", "/", "Content-Length: 2", "{}"},
  };
  RawServer server;
  const auto session = URLSession::ephemeral();
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.method) + row.address);
    URLRequest request = requestFor(server.url(row.address));
    request.method = row.method;
    if (row.body) request.body = Data::ofText(*row.body);
    EXPECT_EQ(describe(exchange(session, request)), "200 ok");
    const std::string sent = server.requests().back();
    EXPECT_EQ(sent.substr(0, sent.find("\r\n")),
              std::string(row.method) + " " + row.target + " HTTP/1.1");
    EXPECT_EQ(lineOf(sent, "Content-Length"), row.contentLength);
    EXPECT_EQ(lineOf(sent, "Transfer-Encoding"), "(absent)");
    EXPECT_TRUE(sent.ends_with("\r\n\r\n" + row.body.value_or(""))) << sent;
  }
}

TEST(URLSession, IgnoresTheProxiesOfTheEnvironment) {
  RawServer proxy(RawServer::answering(RawServer::answer("proxy")));
  RawServer server;
  const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port());
  for (const char* name : {"http_proxy", "all_proxy"}) {
    setenv(name, address.c_str(), 1);
    EXPECT_EQ(fetch(URLSession::ephemeral(), server.url("/")), "200 ok");
    unsetenv(name);
  }
}

TEST(URLSession, TakesEveryAnswerAsItComes) {
  const std::tuple<std::string, const char*, const char*> rows[] = {
      {RawServer::answer("moved", "302 Found", "Location: /elsewhere\r\n"), "302 moved",
       "a redirect is an answer like any other"},
      {RawServer::answer("no", "401 Unauthorized", "WWW-Authenticate: Basic\r\n"), "401 no",
       "there are no credentials to try"},
      {"HTTP/1.1 204 No Content\r\n\r\n", "204 ", "no body"},
      {"HTTP/1.1 200 OK\r\nConnection: close\r\n\r\nto the end", "200 to the end",
       "the connection's end ends a body without length"},
      {"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2;x=y\r\nde\r\n0\r\n"
       "X-Trailer: 1\r\n\r\n",
       "200 abcde", "chunks and trailer fields"},
      {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Early Hints\r\nLink: </x>\r\n\r\n" +
           RawServer::answer("final", "200 OK", "X-Final: 1\r\n"),
       "200 final", "interim answers are no answers"},
      {"HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n\r\n", "101 ",
       "nothing more will come after it"},
      {"HTTP/1.0 200 OK\r\n\r\nold to its end", "200 old to its end", "HTTP/1.0"},
  };
  for (const auto& [sent, expected, why] : rows) {
    SCOPED_TRACE(why);
    const bool isToTheEnd = std::string_view(expected).ends_with("end");
    RawServer server([&, &answer = sent](Connection& connection) {
      connection.readRequest();
      connection.write(answer);
      if (!isToTheEnd) connection.hang();
    });
    const auto outcome = exchange(URLSession::ephemeral(), requestFor(server.url("/")));
    EXPECT_EQ(describe(outcome), expected);
    EXPECT_EQ(server.requests().size(), 1u);
    const auto& response = std::get<HTTPResponse>(outcome);
    for (const auto& [name, value] : response.headers) {
      EXPECT_TRUE(name != "Link" && name != "X-Trailer") << name;
    }
    EXPECT_GE(response.body.storage.capacity() - response.body.size(), 64u);
  }
}

TEST(URLSession, CarriesLargeBodiesBothWaysAndFieldsInOrderWithTheServersNames) {
  const std::string large(std::size_t{3} << 20, 'x');
  RawServer server([&](Connection& connection) {
    const std::string request = connection.readRequest();
    connection.write(RawServer::answer(request.substr(request.find("\r\n\r\n") + 4), "200 OK",
                                       "X-One:1\r\nset-Cookie: a\r\nX-Two:  2 \r\n folded\r\n"
                                       "set-Cookie: b\r\nX-Empty:\r\n"));
  });
  const auto outcome = exchange(URLSession::ephemeral(), post(server.url("/"), large));
  const auto& response = std::get<HTTPResponse>(outcome);
  EXPECT_TRUE(response.body.storage == large);
  const std::vector<std::pair<std::string, std::string>> expected{
      {"X-One", "1"},      {"set-Cookie", "a"}, {"X-Two", "2 folded"},
      {"set-Cookie", "b"}, {"X-Empty", ""},     {"Content-Length", "3145728"}};
  EXPECT_EQ(response.headers, expected);
}

TEST(URLSession, GivesHeadsWithoutBodiesAndKeepsTheirConnection) {
  RawServer server(RawServer::answering("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n"));
  const auto session = URLSession::ephemeral();
  URLRequest head = requestFor(server.url("/"));
  head.method = "HEAD";
  EXPECT_EQ(describe(exchange(session, head)), "200 ");
  EXPECT_EQ(describe(exchange(session, head)), "200 ");
  EXPECT_EQ(server.connectionCount(), 1);
}

TEST(URLSession, SendsNoRequestTwiceWhenAKeptConnectionDies) {
  // The server, a relay even with a GET, may have acted on it.
  for (const char* method : {"POST", "DELETE", "GET", "HEAD"}) {
    SCOPED_TRACE(method);
    RawServer server([](Connection& connection) {
      if (connection.number() > 0)
        return RawServer::answering(RawServer::answer("again"))(connection);
      connection.readRequest();
      connection.write(RawServer::answer("first"));
      connection.readRequest();  // read as a whole, and then the connection ends
    });
    const auto session = URLSession::ephemeral();
    ASSERT_EQ(fetch(session, server.url("/first")), "200 first");
    URLRequest request = requestFor(server.url("/act"));
    request.method = method;
    if (method[0] == 'P') request.body = Data::ofText("{}");
    EXPECT_EQ(describe(exchange(session, request)), "-1005");
    EXPECT_EQ(server.requests().size(), 2u);
  }
}

}  // namespace
}  // namespace idlewyn::testing
