// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <boost/asio.hpp>

#include <IdlewynKit/IdlewynKit.hpp>
#include <tests/support/TemporaryFolder.hpp>
#include <tools/relay/server/Server.hpp>
#include <tools/relay/sessions/SessionList.hpp>
#include <tools/relay/state/LiveRelay.hpp>

/// The relay's server over its real state and session list, on a thread of its own.
namespace idlewyn::testing {

class ServedRelay {
 public:
  explicit ServedRelay(relay::ServerOptions options = {}, bool encrypted = false)
      : certificate_(file_.certificate()) {
    if (encrypted) {
      options.certificateChain = certificate_.chainPEM;
      options.privateKey = certificate_.keyPEM;
    }
    isEncrypted_ = encrypted;
    live.serve(list);
    server_ = std::make_unique<relay::Server>(context_, live, std::move(options));
    server_->start();
    thread_ = std::thread([this] { context_.run(); });
  }
  ServedRelay(const ServedRelay&) = delete;
  ServedRelay& operator=(const ServedRelay&) = delete;
  ~ServedRelay() {
    context_.stop();
    thread_.join();
  }

  /// Runs on the relay's thread.
  template <class Work>
  auto on(Work work) {
    return boost::asio::post(context_, boost::asio::use_future(std::move(work))).get();
  }

  URL address() const {
    return *URL::parse(std::string(isEncrypted_ ? "https" : "http") +
                       "://127.0.0.1:" + std::to_string(server_->port()));
  }
  std::optional<std::string> pin() const {
    return isEncrypted_ ? std::optional(certificate_.fingerprint) : std::nullopt;
  }
  std::string code(const std::string& name = "phone") {
    return on([&] { return live.makeCode(name); });
  }
  Connection paired(AgentProvider provider, const std::string& code) {
    return platform::wait(client.pair(provider, address(), code, pin()));
  }
  /// Opens a question of that agent; its prompt's id. What it is answered with is in `answer`.
  std::string ask(AgentProvider provider, std::optional<std::string> rule) {
    return on([&] {
      relay::Question question(provider, "session", "Bash", "make test",
                               "key" + std::to_string(++asked_));
      question.alwaysRule = std::move(rule);
      return list.ask(std::move(question), [this](auto given) {
        answer = given ? std::string(rawValue(*given)) : "given back";
        return true;
      });
    });
  }

  TemporaryFolder folder;

 private:
  boost::asio::io_context context_{1};
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{
      context_.get_executor()};
  relay::StateFile file_{(folder.path() / "state").string()};
  relay::ServerCertificate certificate_;
  std::unique_ptr<relay::Server> server_;
  std::thread thread_;
  bool isEncrypted_ = false;
  int asked_ = 0;

 public:
  /// Used on the relay's thread only.
  relay::LiveRelay live{file_, [] { return DateClock::now(); }};
  relay::SessionList list{live, "secret", [] { return DateClock::now(); }};
  std::string answer;
  RelayClient client{URLSession::shared()};
};

}  // namespace idlewyn::testing
