// SPDX-License-Identifier: MIT
#include <tools/relay/commands/Control.hpp>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <optional>
#include <stdexcept>
#include <utility>

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/json/serialize.hpp>

#include <tools/relay/state/PrivateFiles.hpp>

namespace idlewyn::relay {
namespace {

namespace asio = boost::asio;
using Local = asio::local::stream_protocol;

constexpr std::size_t longestLine = 64UL << 10U;

bool isThisUser(int descriptor) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == ::geteuid();
}

/// The relay's answer; no value where none runs.
std::optional<std::string> askRunning(const std::string& path, const std::string& line) {
  asio::io_context context;
  Local::socket socket(context);
  boost::system::error_code error;
  socket.connect(Local::endpoint(path), error);
  if (error) return std::nullopt;
  if (!isThisUser(socket.native_handle())) {
    throw std::runtime_error("Another user's program answers at " + path + ".");
  }
  const timeval patience{10, 0};
  ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  ::setsockopt(socket.native_handle(), SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
  asio::write(socket, asio::buffer(line), error);
  std::string answer;
  if (!error) asio::read_until(socket, asio::dynamic_buffer(answer, 4UL << 20U), '\n', error);
  if (error) {
    throw std::runtime_error("The relay runs, but does not answer. Stop it and start it again.");
  }
  return answer;
}

json::Object askFolder(const std::string& folder, const json::Object& request) {
  makePrivateFolder(folder);
  const auto lock = FolderLock::take(folder);
  if (!lock) {
    throw std::runtime_error("Another command or a relay that is just starting works with " +
                             folder + ". Try again.");
  }
  StateFile file(folder);
  LiveRelay relay(file, [] { return platform::DateClock::now(); });
  return Administration(file, relay, nullptr).answer(request);
}

}  // namespace

class ControlServer::Listener : public std::enable_shared_from_this<Listener> {
 public:
  Listener(asio::io_context& context, const std::string& path, Administration& administration)
      : acceptor_(context), administration_(administration) {
    ::unlink(path.c_str());
    const mode_t before = ::umask(0177);
    boost::system::error_code error;
    acceptor_.open(Local(), error);
    if (!error) acceptor_.bind(Local::endpoint(path), error);
    if (!error) acceptor_.listen(8, error);
    ::umask(before);
    if (error) throw std::runtime_error("Can't listen at " + path + ": " + error.message() + ".");
  }

  void accept() {
    acceptor_.async_accept([self = shared_from_this()](auto error, Local::socket socket) {
      if (!self->acceptor_.is_open()) return;
      if (!error && isThisUser(socket.native_handle())) self->answer(std::move(socket));
      self->accept();
    });
  }
  void stop() {
    boost::system::error_code ignored;
    acceptor_.close(ignored);
  }

 private:
  struct Call {
    explicit Call(Local::socket socket) : socket(std::move(socket)) {}
    Local::socket socket;
    std::string line;
  };

  void answer(Local::socket socket) {
    const auto call = std::make_shared<Call>(std::move(socket));
    asio::async_read_until(
        call->socket, asio::dynamic_buffer(call->line, longestLine), '\n',
        [self = shared_from_this(), call](auto error, std::size_t) {
          if (error) return;
          const auto request = json::parsed(call->line);
          const json::Object answer =
              request ? self->administration_.answer(*request)
                      : json::Object{{"error", "The request is not a JSON object."}};
          call->line = boost::json::serialize(answer) + "\n";
          asio::async_write(call->socket, asio::buffer(call->line), [call](auto, std::size_t) {});
        });
  }

  Local::acceptor acceptor_;
  Administration& administration_;
};

ControlServer::ControlServer(asio::io_context& context, const std::string& folder,
                             Administration& administration)
    : path_(folder + "/control.sock"),
      listener_(std::make_shared<Listener>(context, path_, administration)) {
  listener_->accept();
}

ControlServer::~ControlServer() {
  listener_->stop();
  ::unlink(path_.c_str());
}

json::Object ask(const std::string& folder, const json::Object& request) {
  const std::string line = boost::json::serialize(request) + "\n";
  json::Object answer;
  if (const auto text = askRunning(folder + "/control.sock", line)) {
    const auto parsed = json::parsed(*text);
    if (!parsed) throw std::runtime_error("The relay's answer is no JSON object.");
    answer = *parsed;
  } else {
    answer = askFolder(folder, request);
  }
  if (answer.contains("error")) throw std::runtime_error(std::string(json::text(answer, "error")));
  return answer;
}

bool isRunning(const std::string& folder) {
  asio::io_context context;
  Local::socket socket(context);
  boost::system::error_code error;
  socket.connect(Local::endpoint(folder + "/control.sock"), error);
  return !error && isThisUser(socket.native_handle());
}

}  // namespace idlewyn::relay
