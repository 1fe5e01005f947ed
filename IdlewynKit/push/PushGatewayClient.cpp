// SPDX-License-Identifier: MIT
#include <IdlewynKit/push/PushGatewayClient.hpp>

#include <chrono>
#include <map>
#include <mutex>
#include <tuple>
#include <utility>
#include <variant>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/coding/JSONEncoder.hpp>
#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/push/internal/PushGatewayMaker.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

namespace idlewyn {

// The actor's state. Its turns are short and never wait, so that a lock is all they need.
class PushGatewayClient::Keys {
 public:
  std::optional<std::string> find(const std::string& name) const {
    const std::lock_guard lock(mutex_);
    const auto found = byName_.find(name);
    return found == byName_.end() ? std::nullopt : std::optional(found->second);
  }

  void store(const std::string& name, const std::string& key) {
    const std::lock_guard lock(mutex_);
    byName_.insert_or_assign(name, key);
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::string> byName_;  // guarded by mutex_
};

namespace {

using boost::asio::awaitable;
using platform::URLRequest;
using platform::URLSession;

struct Registered {
  explicit Registered(platform::DecodingKey) {}
  static constexpr auto fields() {
    return std::tuple{platform::field("pushKey", &Registered::pushKey)};
  }

  std::string pushKey;
};

URLRequest registrationRequest(const URL& gateway, const std::string& token,
                               const std::string& environment) {
  const std::map<std::string, std::string> body{{"token", token}, {"environment", environment}};
  URLRequest request(gateway.appendingPath("v1/register"));
  request.method = "POST";
  request.setHeader("Content-Type", "application/json");
  request.body = platform::PlainJSONEncoder().encode(body);
  request.timeoutInterval = std::chrono::seconds(10);
  return request;
}

std::string readKey(URLSession::Outcome outcome) {
  if (const auto* error = std::get_if<platform::URLError>(&outcome)) throw *error;
  const auto& response = std::get<platform::HTTPResponse>(outcome);
  // 0 is what an answer that isn't HTTP has for a status.
  if (response.statusCode != 200) throw RelayError::server(response.statusCode);
  return platform::PlainJSONDecoder().decode<Registered>(response.body).pushKey;
}

template <class Keys>
awaitable<std::optional<std::string>> obtainKey(std::optional<URL> gateway,
                                                std::shared_ptr<Keys> keys, std::string token,
                                                std::string environment) {
  if (!gateway) co_return std::nullopt;
  const std::string name = environment + ":" + token;
  std::optional<std::string> key = keys->find(name);
  if (key) co_return key;
  // The only wait. Once begun it has an outcome however it is cancelled.
  URLRequest request = registrationRequest(*gateway, token, environment);
  key = readKey(co_await URLSession::shared()->exchange(std::move(request)));
  keys->store(name, *key);
  co_return key;
}

}  // namespace

std::optional<URL> internal::PushGatewayMaker::address(const platform::Bundle& application) {
  // An empty text is no URL either.
  return URL::parse(application.text("VantorPushGateway").value_or(""));
}

std::unique_ptr<PushGatewayClient> internal::PushGatewayMaker::make(std::optional<URL> baseURL) {
  return std::unique_ptr<PushGatewayClient>(new PushGatewayClient(std::move(baseURL)));
}

PushGatewayClient::PushGatewayClient(std::optional<URL> gateway)
    : baseURL(std::move(gateway)), keys_(std::make_shared<Keys>()) {}

PushGatewayClient::~PushGatewayClient() = default;

PushGatewayClient& PushGatewayClient::shared() {
  static PushGatewayClient& client =
      *internal::PushGatewayMaker::make(
           internal::PushGatewayMaker::address(platform::Bundle::main()))
           .release();
  return client;
}

awaitable<std::optional<std::string>> PushGatewayClient::pushKey(std::string token,
                                                                 std::string environment) {
  return obtainKey(baseURL, keys_, std::move(token), std::move(environment));
}

}  // namespace idlewyn
