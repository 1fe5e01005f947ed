// SPDX-License-Identifier: MIT
// HTTP/2 as relays offer it: behind nginx.
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <thread>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>

#include "tests/platform/net/NetSupport.hpp"

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;
using namespace std::chrono_literals;

/// nginx on a free port: "/" tells protocol and connection, "/hang" goes to a server that never
/// answers.
class Nginx {
 public:
  Nginx() {
    folder_ = std::filesystem::temp_directory_path() / ("nginx-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder_);
    std::ofstream(folder_ / "certificate.pem") << certificate_.pem();
    std::ofstream(folder_ / "key.pem") << certificate_.keyPEM();
    std::ofstream(folder_ / "nginx.conf") << configuration();
    std::string prefix = folder_.string() + "/";
    std::string program = "nginx", p = "-p", c = "-c", conf = "nginx.conf";
    char* arguments[] = {program.data(), p.data(), prefix.data(), c.data(), conf.data(), nullptr};
    setenv("PATH", (std::string(getenv("PATH")) + ":/usr/sbin").c_str(), 1);
    if (posix_spawnp(&process_, "nginx", nullptr, nullptr, arguments, environ) != 0) process_ = -1;
  }
  ~Nginx() {
    if (process_ > 0) {
      kill(process_, SIGTERM);
      waitpid(process_, nullptr, 0);
    }
    std::filesystem::remove_all(folder_);
  }

  std::string url(std::string_view path) const {
    return "https://127.0.0.1:" + std::to_string(port_) + std::string(path);
  }
  bool isUp() const {
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      if (fetch(trustingSession(), url("/")).starts_with("200")) return true;
      std::this_thread::sleep_for(20ms);
    }
    return false;
  }
  bool waitForHanging(std::size_t count) const { return hung_.waitForRequests(count); }

 private:
  std::string configuration() const {
    const std::string folder = folder_.string();
    std::string temporary;
    for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
      temporary += std::string(kind) + "_temp_path " + folder + "/" + kind + ";\n";
    }
    return "daemon off; master_process off; pid nginx.pid; error_log error.log;\n"
           "events { worker_connections 1024; }\nhttp { access_log off;\n" +
           temporary + "server { listen 127.0.0.1:" + std::to_string(port_) +
           " ssl http2; ssl_certificate certificate.pem; ssl_certificate_key key.pem;\n"
           "location / { return 200 \"$server_protocol $connection\"; }\n"
           "location /hang { proxy_pass http://127.0.0.1:" +
           std::to_string(hung_.port()) + "; } } }\n";
  }

  RawServer hung_{[](RawServer::Connection& connection) {
    connection.readRequest();
    connection.hang();
  }};
  const TestCertificate certificate_;
  const int port_ = freePort();
  std::filesystem::path folder_;
  pid_t process_ = -1;
};

asio::awaitable<void> fetchInto(std::string& outcome, std::shared_ptr<URLSession> session,
                                URLRequest request) {
  outcome = describe(co_await session->exchange(std::move(request)));
}

TEST(URLSessionOverHTTP2, SharesOneConnectionAmongAllExchanges) {
  const Nginx nginx;
  ASSERT_TRUE(nginx.isUp());
  const auto delegate = std::make_shared<ScriptedDelegate>(accept);
  const auto session = URLSession::ephemeral(delegate);
  std::vector<std::string> outcomes(100);
  asio::io_context context;
  for (std::string& outcome : outcomes) {
    co_spawn(context, fetchInto(outcome, session, requestFor(nginx.url("/"))), asio::detached);
  }
  context.run();
  const std::set<std::string> different(outcomes.begin(), outcomes.end());
  EXPECT_EQ(different.size(), 1u) << "one protocol, one connection";
  EXPECT_TRUE(different.begin()->starts_with("200 HTTP/2.0 ")) << *different.begin();
  EXPECT_EQ(delegate->challenges, 1);

  const auto refusing = std::make_shared<ScriptedDelegate>(refuse);
  EXPECT_EQ(fetch(URLSession::ephemeral(refusing), nginx.url("/")), "-999");
}

TEST(URLSessionOverHTTP2, CancellingSomeExchangesLeavesTheOthersTheirConnection) {
  const Nginx nginx;
  ASSERT_TRUE(nginx.isUp());
  const auto session = trustingSession();
  const std::string before = fetch(session, nginx.url("/"));
  constexpr std::size_t count = 40;
  std::vector<std::string> outcomes(count);
  std::vector<asio::cancellation_signal> signals(count);
  asio::io_context context;
  for (std::size_t i = 0; i < count; ++i) {
    URLRequest request = post(nginx.url("/hang"), "{}");
    if (i % 2 == 0) request.timeoutInterval = 2s;
    co_spawn(context, fetchInto(outcomes[i], session, std::move(request)),
             asio::bind_cancellation_slot(signals[i].slot(), asio::detached));
  }
  context.run_for(50ms);
  ASSERT_TRUE(nginx.waitForHanging(count));
  for (std::size_t i = 1; i < count; i += 2)
    signals[i].emit(asio::cancellation_type::terminal);
  EXPECT_EQ(fetch(session, nginx.url("/")), before);
  context.restart();
  context.run_for(10s);
  for (std::size_t i = 0; i < count; ++i) {
    EXPECT_EQ(outcomes[i], i % 2 == 0 ? "-1001" : "-999") << i;
  }
  EXPECT_EQ(fetch(session, nginx.url("/")), before);
}

}  // namespace
}  // namespace idlewyn::testing
