// SPDX-License-Identifier: MIT
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/post.hpp>

#include <IdlewynKit/glib/Executor.hpp>

#include "tests/platform/net/NetSupport.hpp"

namespace {
std::atomic<GMainContext*> slow = nullptr, slowed = nullptr;
}

// When another thread hands something over to that context, it takes its time, once.
extern "C" __attribute__((visibility("default"))) guint g_source_attach(GSource* source,
                                                                        GMainContext* context) {
  if (context == slow && gettid() != getpid() && (slowed = slow.exchange(nullptr)) != nullptr) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  static const auto original =
      reinterpret_cast<decltype(&g_source_attach)>(dlsym(RTLD_NEXT, "g_source_attach"));
  return original(source, context);
}

namespace idlewyn::testing {
namespace {

namespace asio = boost::asio;

struct Context {
  GMainContext* context = g_main_context_new();
  ~Context() {
    while (g_main_context_iteration(context, FALSE))
      continue;
    g_main_context_unref(context);
  }
  glib::Executor executor() const { return glib::Executor(context); }
  template <class Condition>
  void runUntil(Condition condition) const {
    while (!condition())
      g_main_context_iteration(context, TRUE);
  }
};

asio::awaitable<void> fetchOn(std::string& outcome, std::vector<std::thread::id>& threads,
                              std::shared_ptr<URLSession> session, URLRequest request) {
  threads.push_back(std::this_thread::get_id());
  outcome = describe(co_await session->exchange(std::move(request)));
  threads.push_back(std::this_thread::get_id());
}

TEST(GLibExecutor, RunsWorkInOrderInsideTheLoopAndNeverInsideTheCall) {
  const Context context;
  std::string order;
  const asio::any_io_executor executor = context.executor();
  asio::post(executor, [&] {
    order += "a";
    asio::post(executor, [&] { order += "c"; });
    asio::dispatch(executor, [&] { order += "d"; });
    order += "b";
  });
  EXPECT_EQ(order, "");
  context.runUntil([&] { return order.size() == 4; });
  EXPECT_EQ(order, "abcd");
  EXPECT_TRUE(executor == asio::any_io_executor(context.executor()));
  EXPECT_FALSE(executor == asio::any_io_executor(glib::Executor()));

  glib::Executor copy;
  EXPECT_TRUE(copy != context.executor());
  EXPECT_TRUE((copy = context.executor()) == context.executor());
  EXPECT_TRUE(copy.require(asio::execution::blocking.never) == copy);
  EXPECT_EQ(glib::Executor::query(asio::execution::blocking), asio::execution::blocking.never);
}

TEST(GLibExecutor, DestroysWorkThatTheContextNeverRuns) {
  const auto witness = std::make_shared<int>(0);
  GMainContext* const context = g_main_context_new();
  asio::post(glib::Executor(context), [witness] {});
  EXPECT_EQ(witness.use_count(), 2);
  g_main_context_unref(context);
  EXPECT_EQ(witness.use_count(), 1);
}

TEST(GLibExecutor, CarriesExchangesOnTheLoopsThread) {
  RawServer server(RawServer::answering(RawServer::answer("ok")));
  const Context context;
  std::string outcome;
  std::vector<std::thread::id> threads;
  co_spawn(context.executor(),
           fetchOn(outcome, threads, URLSession::ephemeral(), requestFor(server.url("/"))),
           asio::detached);
  context.runUntil([&] { return !outcome.empty(); });
  EXPECT_EQ(outcome, "200 ok");
  EXPECT_EQ(threads, std::vector(2, std::this_thread::get_id()));
}

TEST(GLibExecutor, LetsExchangesBeCancelled) {
  RawServer server([](RawServer::Connection& connection) { connection.hang(); });
  const Context context, other;
  std::string outcome, otherOutcome;
  std::vector<std::thread::id> threads;
  asio::cancellation_signal signal;
  co_spawn(context.executor(),
           fetchOn(outcome, threads, URLSession::ephemeral(), requestFor(server.url("/"))),
           asio::bind_cancellation_slot(signal.slot(), asio::detached));
  context.runUntil([&] { return !threads.empty(); });
  ASSERT_TRUE(server.waitForConnections(1));
  const auto cancelInChild = [&] {
    alarm(10);
    signal.emit(asio::cancellation_type::terminal);
    context.runUntil([&] { return !outcome.empty(); });
    std::_Exit(outcome == "-999" ? 0 : 1);
  };
  slow = other.context;
  co_spawn(other.executor(),
           fetchOn(otherOutcome, threads, URLSession::ephemeral(),
                   requestFor("http://127.0.0.1:" + std::to_string(refusedPort()))),
           asio::detached);
  other.runUntil([&] { return threads.size() == 2; });
  ASSERT_TRUE(waitUntil([] { return slowed != nullptr; }));
  // The fork comes while another exchange's outcome is handed over.
  EXPECT_EXIT(cancelInChild(), ::testing::ExitedWithCode(0), "") << "after a fork, without a loop";
  signal.emit(asio::cancellation_type::terminal);
  context.runUntil([&] { return !outcome.empty(); });
  EXPECT_EQ(outcome, "-999");
  other.runUntil([&] { return !otherOutcome.empty(); });
}

}  // namespace
}  // namespace idlewyn::testing
