// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>

#include <tools/relay/agents/FileWatch.hpp>
#include <tools/relay/agents/codex/AppServerClient.hpp>
#include <tools/relay/agents/codex/AppServerSocket.hpp>

/// Stays connected to the app-server of one Codex configuration folder whenever one runs.
///
///     AppServerSource source(context, watch, sink, home / ".codex");
///     source.start();
namespace idlewyn::relay::codex {

class AppServerSource {
 public:
  AppServerSource(boost::asio::io_context& context, FileWatch& watch, Sink& sink,
                  std::string codexHome);
  AppServerSource(const AppServerSource&) = delete;
  AppServerSource& operator=(const AppServerSource&) = delete;
  ~AppServerSource();

  void start();
  /// A hook of that thread ran. True when the app-server has the thread: then its hooks have
  /// nothing to add. Also the moment to look for a server that was missed.
  bool owns(const std::string& threadID);
  bool isConnected() const { return isOpen_; }

 private:
  void watchFolders();
  void connect();
  void opened();
  void closed();
  void retry();

  boost::asio::io_context& context_;
  FileWatch& watch_;
  Sink& sink_;
  std::string home_;
  std::string socketPath_;
  std::uint64_t homeWatch_ = 0;
  std::uint64_t controlWatch_ = 0;
  boost::asio::steady_timer timer_;
  /// How many attempts a change in the folders is worth; a server needs a moment to listen.
  int attempts_ = 0;
  bool isOpen_ = false;
  std::unique_ptr<AppServerSocket> socket_;
  std::unique_ptr<AppServerClient> client_;
};

}  // namespace idlewyn::relay::codex
