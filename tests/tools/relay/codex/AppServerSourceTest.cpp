// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerSource.hpp>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <tests/support/TemporaryFolder.hpp>
#include <tests/tools/relay/codex/RecordingSink.hpp>
#include <tests/tools/relay/support/OtherUser.hpp>

namespace idlewyn::relay::codex {
namespace {

namespace asio = boost::asio;
using Local = asio::local::stream_protocol;

/// An app-server on a Unix socket with one thread, which asks one question.
class StandInServer {
 public:
  StandInServer(asio::io_context& context, const std::string& path)
      : acceptor_(context, Local::endpoint(path)), stream_(context) {
    acceptor_.async_accept(stream_.next_layer(), [this](boost::system::error_code error) {
      if (error) return;
      stream_.async_accept([this](boost::system::error_code failed) {
        if (!failed) read();
      });
    });
  }

  std::vector<std::string> received;

 private:
  void read() {
    stream_.async_read(buffer_, [this](boost::system::error_code error, std::size_t) {
      if (error) return;
      received.push_back(boost::beast::buffers_to_string(buffer_.cdata()));
      buffer_.clear();
      answer(*json::parsed(received.back()));
      read();
    });
  }

  void answer(const json::Object& message) {
    const auto id = json::number(message, "id");
    const std::string_view method = json::text(message, "method");
    if (!id || method.empty()) return;
    const std::string thread =
        R"({"thread":{"id":"t","preview":"p","cwd":"/w","status":{"type":"active",)"
        R"("activeFlags":["waitingOnApproval"]}}})";
    std::string result = "{}";
    if (method == "thread/loaded/list") result = R"({"data":["t"]})";
    if (method == "thread/read" || method == "thread/resume") result = thread;
    write(R"({"id":)" + std::to_string(*id) + R"(,"result":)" + result + "}");
    if (method == "thread/resume")
      write(R"({"id":"q","method":"item/commandExecution/requestApproval","params":)"
            R"({"threadId":"t","itemId":"i","command":"ls"}})");
  }

  void write(const std::string& text) { stream_.write(asio::buffer(text)); }

  Local::acceptor acceptor_;
  boost::beast::websocket::stream<Local::socket> stream_;
  boost::beast::flat_buffer buffer_;
};

class AppServerSourceTest : public ::testing::Test {
 protected:
  AppServerSourceTest() { source_.start(); }

  void startServer() {
    std::filesystem::create_directories(folder_.path() / "app-server-control");
    std::filesystem::remove(socket_);
    server_ = std::make_unique<StandInServer>(context_, socket_.string());
    std::filesystem::remove(link_);
    std::filesystem::create_symlink(socket_, link_);
  }

  void waitFor(const std::string& note) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto isThere = [&] {
      for (std::string& seen : sink_.take())
        notes_.push_back(std::move(seen));
      return std::find(notes_.begin(), notes_.end(), note) != notes_.end();
    };
    while (!isThere() && std::chrono::steady_clock::now() < deadline)
      context_.run_one_for(std::chrono::seconds(1));
    ASSERT_TRUE(isThere()) << note;
    notes_.clear();
  }

  testing::TemporaryFolder folder_;
  std::filesystem::path socket_ = folder_.path() / "elsewhere";
  std::filesystem::path link_ = folder_.path() / "app-server-control" / "app-server-control.sock";
  asio::io_context context_;
  RecordingSink sink_;
  FileWatch watch_{context_};
  AppServerSource source_{context_, watch_, sink_, folder_.path().string()};
  std::unique_ptr<StandInServer> server_;
  std::vector<std::string> notes_;
};

TEST_F(AppServerSourceTest, FindsAServerThatStartsLaterAndAnswersIt) {
  startServer();
  waitFor("p1 asks Bash: ls");
  EXPECT_TRUE(source_.owns("t"));
  EXPECT_FALSE(source_.owns("another"));
  sink_.answer("p1", PermissionDecision::allow);
  const std::string answer = R"({"id":"q","result":{"decision":"accept"}})";
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (server_->received.back() != answer && std::chrono::steady_clock::now() < deadline)
    context_.run_one_for(std::chrono::seconds(1));
  EXPECT_EQ(server_->received.back(), answer);
}

TEST_F(AppServerSourceTest, EndsSessionsWithTheServerAndFindsTheNextOne) {
  startServer();
  waitFor("p1 asks Bash: ls");
  server_.reset();
  waitFor("ended");
  EXPECT_FALSE(source_.owns("t"));
  EXPECT_TRUE(sink_.open.empty());
  startServer();
  waitFor("p2 asks Bash: ls");
}

TEST_F(AppServerSourceTest, SaysNothingToAnotherUsersServer) {
  if (!OtherUser::canBePlayed()) GTEST_SKIP() << "only root can be somebody else";
  OtherUser user = OtherUser::listening(socket_);
  std::filesystem::create_directories(folder_.path() / "app-server-control");
  std::filesystem::create_symlink(socket_, link_);
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!user.hasEnded() && std::chrono::steady_clock::now() < deadline)
    context_.run_one_for(std::chrono::milliseconds(50));
  EXPECT_EQ(user.status(), 0) << "it received something, or nobody connected";
  EXPECT_FALSE(source_.isConnected());
}

}  // namespace
}  // namespace idlewyn::relay::codex
