// SPDX-License-Identifier: MIT
#include <tools/relay/commands/Serve.hpp>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/signal_set.hpp>

#include <tools/relay/agents/FileWatch.hpp>
#include <tools/relay/agents/HookServer.hpp>
#include <tools/relay/agents/claude/ClaudeAgents.hpp>
#include <tools/relay/agents/codex/CodexAgents.hpp>
#include <tools/relay/commands/Control.hpp>
#include <tools/relay/server/Server.hpp>
#include <tools/relay/sessions/SessionList.hpp>
#include <tools/relay/state/LiveRelay.hpp>
#include <tools/relay/state/PrivateFiles.hpp>

namespace idlewyn::relay {
namespace {

Date now() { return platform::DateClock::now(); }

/// sd_notify's protocol: one datagram to the socket that the service manager names.
void notify(const char* message) {
  const char* path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (path == nullptr || std::strlen(path) >= sizeof address.sun_path) return;
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path);
  if (address.sun_path[0] == '@') address.sun_path[0] = '\0';
  const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (socket < 0) return;
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  ::sendto(socket, message, std::strlen(message), MSG_NOSIGNAL,
           reinterpret_cast<const sockaddr*>(&address), size);
  ::close(socket);
}

bool isLoopback(const std::string& host) {
  boost::system::error_code error;
  const auto address = boost::asio::ip::make_address(host, error);
  return !error && address.is_loopback();
}

ServerOptions serverOptions(const StateFile& file, const ServeOptions& options) {
  ServerOptions server;
  server.host = file.state().listen;
  server.port = static_cast<std::uint16_t>(file.state().port);
  if (options.isPlain || options.isPlainOnNetwork) {
    if (!isLoopback(server.host) && !options.isPlainOnNetwork) {
      throw std::runtime_error(
          "Plain http would send tokens and commands readable over the network. Use TLS, or "
          "listen on this machine only.");
    }
    return server;
  }
  const ServerCertificate certificate = file.certificate();
  server.certificateChain = certificate.chainPEM;
  server.privateKey = certificate.keyPEM;
  return server;
}

/// Everything that runs, in the order in which it is made.
class Relay {
 public:
  explicit Relay(const ServeOptions& options)
      : file_(options.folder),
        live_(file_, now),
        list_(live_, file_.state().secret, now),
        watch_(context_),
        codex_(context_, watch_, list_, live_, options.codexFolders, now),
        claude_(context_, watch_, list_, live_, now),
        hooks_(context_, options.hookSocket, {{"claude", &claude_}, {"codex", &codex_}}),
        server_(context_, live_, serverOptions(file_, options)),
        running_{file_.state().listen, 0, !options.isPlain && !options.isPlainOnNetwork},
        administration_(file_, live_, &running_) {}

  void run() {
    live_.serve(list_);
    server_.start();
    running_.port = server_.port();
    keepPort();
    codex_.start();
    hooks_.start();
    const ControlServer control(context_, file_.folder(), administration_);
    boost::asio::signal_set signals(context_, SIGINT, SIGTERM, SIGHUP);
    signals.async_wait([this](auto, int) { context_.stop(); });
    std::cout << "Serving " << addressOf(file_.state(), running_.isEncrypted ? "https" : "http")
              << ", listening on " << running_.host << " port " << running_.port << std::endl;
    notify("READY=1");
    context_.run();
    notify("STOPPING=1");
  }

 private:
  /// The port that was free at the first start stays the relay's.
  void keepPort() {
    if (file_.exists() && file_.state().port == running_.port) return;
    file_.state().port = running_.port;
    file_.save();
  }

  boost::asio::io_context context_{1};
  StateFile file_;
  LiveRelay live_;
  SessionList list_;
  FileWatch watch_;
  codex::CodexAgents codex_;
  claude::ClaudeAgents claude_;
  HookServer hooks_;
  Server server_;
  Running running_;
  Administration administration_;
};

}  // namespace

void serve(const ServeOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  makePrivateFolder(options.folder);
  const auto lock = FolderLock::take(options.folder);
  if (!lock) throw std::runtime_error("A relay already runs with " + options.folder + ".");
  Relay(options).run();
}

}  // namespace idlewyn::relay
