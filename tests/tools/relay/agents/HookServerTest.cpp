// SPDX-License-Identifier: MIT
#include <tools/relay/agents/HookServer.hpp>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>

#include <tests/support/TemporaryFolder.hpp>
#include <tests/tools/relay/agents/HookChild.hpp>
#include <tests/tools/relay/support/OtherUser.hpp>
#include <tools/relay/agents/ProcessWatch.hpp>

namespace idlewyn::relay {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class Receiver final : public HookReceiver {
 public:
  void receive(const HookEvent& event) override {
    events.push_back(event);
    if (event.waiting && bound) event.waiting->hold(*bound > 0s ? bound : std::nullopt);
    if (event.waiting && answer) event.waiting->finish(*answer);
  }
  void gone(const std::shared_ptr<WaitingHook>&) override { ++goneCount; }

  std::vector<HookEvent> events;
  /// How a question is held: 0 without a bound, no value not at all.
  std::optional<std::chrono::seconds> bound = 0s;
  std::optional<std::string> answer;
  int goneCount = 0;
};

/// The real hook program against the real server.
class HookServerTest : public ::testing::Test {
 protected:
  HookServerTest() { listen(); }

  void listen() {
    server_.reset();
    server_ = std::make_unique<HookServer>(
        context_, socket_, std::map<std::string, HookReceiver*>{{"codex", &receiver_}});
    server_->start();
  }

  std::unique_ptr<HookChild> hook(const std::string& event, const std::string& payload = "{}") {
    return std::make_unique<HookChild>(
        std::vector<std::string>{"codex", event, "--socket", socket_}, payload);
  }

  /// Lets the server work until `isDone`.
  ::testing::AssertionResult run(const std::function<bool()>& isDone, Clock::duration limit = 20s) {
    const auto deadline = Clock::now() + limit;
    while (!isDone()) {
      if (Clock::now() > deadline) return ::testing::AssertionFailure() << "waited in vain";
      context_.run_one_for(10ms);
    }
    return ::testing::AssertionSuccess();
  }

  testing::TemporaryFolder folder_;
  std::string socket_ = (folder_.path() / "state" / "hook.sock").string();
  boost::asio::io_context context_;
  boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{
      context_.get_executor()};
  Receiver receiver_;
  std::unique_ptr<HookServer> server_;
};

TEST_F(HookServerTest, TakesAnEventWholeAndLetsItsHookGo) {
  const std::string text(3'000'000, 'x');
  const auto child = hook("PostToolUse", R"({"session_id":"s","text":")" + text + "\"}");
  ASSERT_TRUE(run([&] { return child->hasEnded() && !receiver_.events.empty(); }));
  EXPECT_EQ(child->status(), 0);
  EXPECT_EQ(child->output(), "");
  const HookEvent& event = receiver_.events.at(0);
  EXPECT_EQ(event.name, "PostToolUse");
  EXPECT_EQ(event.parent, getpid());
  EXPECT_EQ(event.parentStart, processStart(getpid()));
  EXPECT_EQ(event.nonce.size(), 32U);
  EXPECT_EQ(json::text(event.payload, "text"), text);
  EXPECT_FALSE(event.waiting);
}

TEST_F(HookServerTest, KeepsItsSocketToThisUser) {
  namespace fs = std::filesystem;
  EXPECT_EQ(fs::status(socket_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::status(fs::path(socket_).parent_path()).permissions(), fs::perms::owner_all);
  HookServer second(context_, socket_, {});
  EXPECT_THROW(second.start(), std::runtime_error) << "another relay listens";
}

TEST_F(HookServerTest, TakesNothingFromOtherUsers) {
  if (!OtherUser::canBePlayed()) GTEST_SKIP() << "only root can be somebody else";
  const std::filesystem::path path(socket_);
  std::filesystem::permissions(folder_.path(), std::filesystem::perms::all);
  std::filesystem::permissions(path.parent_path(), std::filesystem::perms::all);
  std::filesystem::permissions(path, std::filesystem::perms::all);
  for (const char* event : {"Stop", "PermissionRequest"}) {
    OtherUser user = OtherUser::sending(path, "codex " + std::string(event) + " 7 nonce 1\n{}");
    ASSERT_TRUE(run([&] { return user.hasEnded(); }));
    EXPECT_EQ(user.status(), 0) << "it was told something";
  }
  EXPECT_TRUE(receiver_.events.empty());
  const auto child = hook("Stop");
  EXPECT_TRUE(run([&] { return !receiver_.events.empty(); })) << "this user is still served";
}

TEST_F(HookServerTest, TellsOtherUsersNothing) {
  if (!OtherUser::canBePlayed()) GTEST_SKIP() << "only root can be somebody else";
  for (const char* event : {"Stop", "PermissionRequest"}) {
    const std::filesystem::path path = folder_.path() / event / "hook.sock";
    std::filesystem::create_directories(path.parent_path());
    std::filesystem::permissions(folder_.path(), std::filesystem::perms::all);
    OtherUser user = OtherUser::listening(path);
    HookChild child({"codex", event, "--socket", path.string()}, R"({"secret":1})");
    ASSERT_TRUE(run([&] { return child.hasEnded() && user.hasEnded(); }));
    EXPECT_EQ(user.status(), 0) << "it received the event";
    EXPECT_EQ(child.status(), 0);
    EXPECT_EQ(child.output(), "");
  }
}

TEST_F(HookServerTest, PrintsTheAnswerAndNothingElse) {
  for (const std::string answer : {R"({"a":"b"})", ""}) {
    receiver_.events.clear();
    receiver_.answer.reset();
    const auto child = hook("PermissionRequest");
    ASSERT_TRUE(run([&] { return !receiver_.events.empty(); }));
    EXPECT_FALSE(run([&] { return child->hasEnded(); }, 1500ms)) << "it waits for the answer";
    receiver_.events.at(0).waiting->finish(answer);
    ASSERT_TRUE(run([&] { return child->hasEnded(); }));
    EXPECT_EQ(child->output(), answer.empty() ? "" : answer + "\n");
    EXPECT_EQ(child->status(), 0);
    EXPECT_EQ(receiver_.goneCount, 0);
  }
}

TEST_F(HookServerTest, LeavesByItselfWhenTheBoundRunsOut) {
  receiver_.bound = 1s;
  const auto child = hook("PermissionRequest");
  ASSERT_TRUE(run([&] { return child->hasEnded() && receiver_.goneCount == 1; }, 5s));
  EXPECT_EQ(child->output(), "");
}

TEST_F(HookServerTest, TellsThatAHookHasGone) {
  const std::vector<std::function<void(HookChild&)>> ends{
      [](HookChild& child) { child.end(); },           // the agent ended it
      [](HookChild& child) { child.closeOutput(); }};  // the agent itself has gone
  for (const auto& end : ends) {
    receiver_.events.clear();
    receiver_.goneCount = 0;
    const auto child = hook("PermissionRequest");
    ASSERT_TRUE(run([&] { return !receiver_.events.empty(); }));
    end(*child);
    EXPECT_TRUE(run([&] { return child->hasEnded() && receiver_.goneCount == 1; }, 3s));
  }
}

TEST_F(HookServerTest, KnowsWhenItAnswersThatTheHookHasGone) {
  const auto child = hook("PermissionRequest");
  ASSERT_TRUE(run([&] { return !receiver_.events.empty(); }));
  child->end();
  while (!child->hasEnded())
    usleep(5000);
  EXPECT_FALSE(receiver_.events.at(0).waiting->finish("{}")) << "nothing has been reported yet";
  run([] { return false; }, 100ms);
  EXPECT_EQ(receiver_.goneCount, 0) << "who answered knows it";
}

TEST_F(HookServerTest, BoundsWhatAllHooksTogetherMakeItKeep) {
  using Local = boost::asio::local::stream_protocol;
  const std::string part(15U << 20U, 'x');  // without an end
  std::deque<Local::socket> sockets;
  int sent = 0;
  int refused = 0;
  for (int at = 0; at < 8; ++at) {
    Local::socket& socket = sockets.emplace_back(context_);
    socket.connect(Local::endpoint(socket_));
    boost::asio::async_write(
        socket, boost::asio::buffer(part),
        [&](boost::system::error_code error, std::size_t) { ++(error ? refused : sent); });
  }
  ASSERT_TRUE(run([&] { return sent + refused == 8; }));
  EXPECT_GE(sent, 1);
  EXPECT_GE(refused, 3);
  sockets.clear();
  const auto child = hook("Stop", "{\"x\":\"" + part + "\"}");
  ASSERT_TRUE(run([&] { return !receiver_.events.empty(); })) << "what was kept is free again";
}

TEST_F(HookServerTest, AsksAgainUnderTheSameNonceAfterARestart) {
  const auto child = hook("PermissionRequest", R"({"session_id":"s"})");
  ASSERT_TRUE(run([&] { return !receiver_.events.empty(); }));
  EXPECT_FALSE(run([&] { return child->hasEnded(); }, 100ms));
  const std::string nonce = receiver_.events.at(0).nonce;
  receiver_.events.clear();
  server_.reset();
  EXPECT_FALSE(run([&] { return child->hasEnded(); }, 500ms));
  receiver_.answer = "{}";
  listen();
  ASSERT_TRUE(run([&] { return child->hasEnded(); }));
  EXPECT_EQ(receiver_.events.at(0).nonce, nonce);
  EXPECT_EQ(child->output(), "{}\n");
}

TEST_F(HookServerTest, IsInNobodysWayWithoutAWorkingRelay) {
  // The deadlines: 200 ms to take an event, as much to hold a question, three signs of life.
  const auto takes = [&](const std::string& event, Clock::duration limit, const char* reason) {
    const auto child = hook(event);
    const auto begin = Clock::now();
    while (!child->hasEnded() && Clock::now() < begin + 10s)
      usleep(5000);
    EXPECT_EQ(child->status(), 0) << reason;
    EXPECT_LT(Clock::now() - begin, limit) << reason;
    EXPECT_EQ(child->output(), "") << reason;
  };
  takes("Stop", 1s, "nothing reads the socket");
  takes("PermissionRequest", 1s, "no relay says that it holds the question");
  run([] { return false; }, 100ms);
  receiver_.events.clear();
  const auto held = hook("PermissionRequest");
  ASSERT_TRUE(run([&] { return !receiver_.events.empty(); }));
  run([] { return false; }, 200ms);
  const auto begin = Clock::now();
  while (!held->hasEnded() && Clock::now() < begin + 10s)
    usleep(5000);
  EXPECT_EQ(held->status(), 0) << "no sign of life any more";
  server_.reset();
  takes("PermissionRequest", 1s, "no socket");
}

/// A relay that is slow to take a question and never says that it holds it: sending and waiting for
/// the word share 200 ms.
TEST_F(HookServerTest, CountsSendingAndBeingHeardTogether) {
  using Local = boost::asio::local::stream_protocol;
  const std::string path = (folder_.path() / "slow.sock").string();
  Local::acceptor acceptor(context_, Local::endpoint(path));
  auto fastest = Clock::duration::max();
  for (int attempt = 0; attempt < 5; ++attempt) {  // the machine may be busy
    HookChild child({"codex", "PermissionRequest", "--socket", path},
                    "{\"x\":\"" + std::string(1U << 20U, 'x') + "\"}");
    Local::socket socket = acceptor.accept();
    const auto begin = Clock::now();
    usleep(150'000);
    std::string taken(2U << 20U, '\0');
    boost::system::error_code end;
    boost::asio::read(socket, boost::asio::buffer(taken), end);
    pollfd gone{socket.native_handle(), 0, 0};
    EXPECT_EQ(poll(&gone, 1, 5000), 1);
    fastest = std::min(fastest, Clock::now() - begin);
  }
  EXPECT_LT(fastest, 300ms);
}

TEST_F(HookServerTest, IgnoresWhatIsNoEvent) {
  for (const std::string& payload : {std::string(), std::string("[1]"), std::string(R"({"cut":)"),
                                     std::string(17U << 20U, ' '), std::string(40U << 20U, ' ')}) {
    const auto child = hook("Stop", payload);
    ASSERT_TRUE(run([&] { return child->hasEnded(); }));
    EXPECT_EQ(child->status(), 0);
    EXPECT_TRUE(child->hasTakenItsInput()) << "the agent would see an error";
  }
  const HookChild unknown({"another", "Stop", "--socket", socket_}, "{}");
  const HookChild wordless({}, "{}");
  run([] { return false; }, 200ms);
  EXPECT_TRUE(receiver_.events.empty());
}

}  // namespace
}  // namespace idlewyn::relay
