// SPDX-License-Identifier: MIT
// Ends with status 7 in the midst of a snapshot of pinned relays:
//   exit_midway main|pool|return MILLISECONDS ADDRESS PIN
// Says "." just before.
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <IdlewynKit/IdlewynKit.hpp>

namespace {

namespace asio = boost::asio;
using namespace idlewyn;

constexpr int ownStatus = 7;

asio::awaitable<SnapshotResult> snapshotOf(std::string_view address, std::string_view pin) {
  const Connection connection(AgentProvider::claude, *URL::parse(address), "token", "account",
                              Date{}, std::string(pin));
  return LiveSessionService(RelayClient(URLSession::shared()))
      .snapshot(std::vector(30, connection), SessionSnapshot::empty());
}

void announce() {
  if (write(STDOUT_FILENO, ".", 1) != 1) std::abort();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 1;
  const std::string_view manner = argv[1];
  const std::chrono::milliseconds delay(std::atoi(argv[2]));
  if (manner == "return") {
    // The context is destroyed with the snapshot in it.
    asio::io_context context;
    asio::co_spawn(context, snapshotOf(argv[3], argv[4]), asio::detached);
    context.run_for(delay);
    announce();
    return ownStatus;
  }
  // Neither stopped nor destroyed: its threads run into the end of the process.
  static auto* const pool = new asio::thread_pool(2);
  asio::co_spawn(*pool, snapshotOf(argv[3], argv[4]), asio::detached);
  const auto exitMidway = [=] {
    std::this_thread::sleep_for(delay);
    announce();
    std::exit(ownStatus);
  };
  if (manner == "main") exitMidway();
  asio::post(*pool, exitMidway);
  pool->join();
}
