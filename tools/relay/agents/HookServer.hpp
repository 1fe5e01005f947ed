// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/steady_timer.hpp>

#include <tools/relay/agents/Hook.hpp>

/// The Unix socket to which the hook program connects.
///
///     HookServer hooks(context, path, {{"codex", &codex}});
///     hooks.start();
///
/// A hook sends one head line, `AGENT EVENT PARENT NONCE START`, then the agent's payload, and
/// closes its side. For a question it then reads lines: `wait SECONDS` (0: without a bound) within
/// 200 ms, `alive` each second, and at last `answer` with the text to print behind it.
namespace idlewyn::relay {

class HookServer {
 public:
  /// The receivers by the agent's name; they outlive the server.
  HookServer(boost::asio::io_context& context, std::string path,
             std::map<std::string, HookReceiver*> receivers);
  HookServer(const HookServer&) = delete;
  HookServer& operator=(const HookServer&) = delete;
  /// Lets every waiting hook go, and removes the socket.
  ~HookServer();

  /// Replaces a socket that a dead relay left; its folder is made if need be, for this user
  /// only. Throws std::runtime_error when the socket can't be made, or when another relay
  /// answers at it.
  void start();

 private:
  class Connection;

  void accept();
  /// Out of descriptors: tries again after a while.
  void acceptLater();

  boost::asio::io_context& context_;
  std::string path_;
  std::map<std::string, HookReceiver*> receivers_;
  boost::asio::local::stream_protocol::acceptor acceptor_;
  boost::asio::steady_timer pause_;
  std::set<std::shared_ptr<Connection>> connections_;
  /// Bytes of payloads that aren't whole yet.
  std::size_t buffered_ = 0;
  bool isListening_ = false;
};

}  // namespace idlewyn::relay
