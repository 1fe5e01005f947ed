// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include <boost/asio/io_context.hpp>

/// One WebSocket connection over a Unix socket. The server must run as this user.
///
///     AppServerSocket socket(context);
///     socket.connect(path, {.opened = ..., .received = ..., .closed = ...});
namespace idlewyn::relay::codex {

class AppServerSocket {
 public:
  struct Handlers {
    std::function<void()> opened;
    std::function<void(std::string_view text)> received;
    /// Called once, also when the connection never came about. The reason is for the log.
    std::function<void(const std::string& reason)> closed;
  };

  explicit AppServerSocket(boost::asio::io_context& context);
  AppServerSocket(const AppServerSocket&) = delete;
  AppServerSocket& operator=(const AppServerSocket&) = delete;
  /// Closes without a word; no handler is called any more.
  ~AppServerSocket();

  /// Once in an object's life.
  void connect(const std::string& path, Handlers handlers);
  /// After `opened`; in order.
  void send(std::string text);

 private:
  class Connection;
  std::shared_ptr<Connection> connection_;
};

}  // namespace idlewyn::relay::codex
