// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <variant>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/platform/tasks/Wait.hpp>

#include "tests/support/RawServer.hpp"

/// Short words for what the network tests say often.
namespace idlewyn::testing {

using namespace idlewyn::platform;

inline URLRequest requestFor(std::string_view address) {
  URLRequest request(*URL::parse(address));
  request.timeoutInterval = std::chrono::seconds(20);
  return request;
}

inline URLRequest post(std::string_view address, std::string body) {
  URLRequest request = requestFor(address);
  request.method = "POST";
  request.body = Data::ofText(std::move(body));
  return request;
}

inline URLSession::Outcome exchange(const std::shared_ptr<URLSession>& session,
                                    URLRequest request) {
  return wait(session->exchange(std::move(request)));
}

/// "200 hello", "not HTTP" or "-1004".
inline std::string describe(const URLSession::Outcome& outcome) {
  if (const auto* error = std::get_if<URLError>(&outcome)) {
    return std::to_string(static_cast<int>(error->code));
  }
  const auto& response = std::get<HTTPResponse>(outcome);
  if (!response.isHTTP()) return "not HTTP";
  return std::to_string(response.statusCode) + " " + response.body.storage;
}

inline std::string fetch(const std::shared_ptr<URLSession>& session, std::string_view address) {
  return describe(exchange(session, requestFor(address)));
}

/// How many of so many exchanges at once, on several threads, were answered with "200 ok".
inline int answersOf(const std::shared_ptr<URLSession>& session, const URLRequest& request,
                     int count) {
  boost::asio::thread_pool pool(4);
  std::atomic<int> answers = 0;
  for (int i = 0; i < count; ++i) {
    boost::asio::co_spawn(boost::asio::make_strand(pool), session->exchange(request),
                          [&](std::exception_ptr, const URLSession::Outcome& outcome) {
                            answers += describe(outcome) == "200 ok" ? 1 : 0;
                          });
  }
  pool.join();
  return answers;
}

/// A delegate that answers as told and counts.
class ScriptedDelegate : public URLSessionDelegate {
 public:
  using Script = std::function<ChallengeAnswer(const ServerTrust&)>;
  explicit ScriptedDelegate(Script script) : script_(std::move(script)) {}

  ChallengeAnswer didReceive(AuthenticationMethod method,
                             const std::optional<ServerTrust>& trust) override {
    ++challenges;
    EXPECT_EQ(method, AuthenticationMethod::serverTrust);
    return script_(*trust);
  }

  std::atomic<int> challenges{0};

 private:
  Script script_;
};

inline ChallengeAnswer accept(const ServerTrust& trust) {
  return ChallengeAnswer(ChallengeDisposition::useCredential, URLCredential(trust));
}

inline ChallengeAnswer refuse(const ServerTrust&) {
  return ChallengeAnswer(ChallengeDisposition::cancelAuthenticationChallenge, std::nullopt);
}

inline std::shared_ptr<URLSession> sessionThat(ScriptedDelegate::Script decides) {
  return URLSession::ephemeral(std::make_shared<ScriptedDelegate>(std::move(decides)));
}

inline std::shared_ptr<URLSession> trustingSession() { return sessionThat(accept); }

}  // namespace idlewyn::testing
