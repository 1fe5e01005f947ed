// SPDX-License-Identifier: MIT
// Operations on a GLib main loop, as GTK programs have one.
#include <iostream>

#include <boost/asio/co_spawn.hpp>

#include <IdlewynKit/IdlewynKit.hpp>
#include <IdlewynKit/glib/Executor.hpp>

using namespace idlewyn;

int main() {
  const LiveSessionService service{RelayClient(URLSession::shared())};
  const std::vector<Connection> connections{Connection::demo(AgentProvider::claude),
                                            Connection::demo(AgentProvider::codex)};
  // region glib
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  boost::asio::co_spawn(glib::Executor(), service.snapshot(connections, SessionSnapshot::empty()),
                        [&](std::exception_ptr error, SnapshotResult result) {
                          // on the loop's thread: widgets may be changed here
                          if (!error) std::cout << result.snapshot.sessions.size() << " sessions\n";
                          g_main_loop_quit(loop);
                        });
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  // end region
}
