// SPDX-License-Identifier: MIT
#include <tools/relay/agents/HookServer.hpp>

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <deque>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include <boost/asio/write.hpp>

namespace idlewyn::relay {
namespace {

namespace asio = boost::asio;
using Local = asio::local::stream_protocol;

/// A hook sends what its agent gave it: at most a file twice.
constexpr std::size_t largestPayload = 16U << 20U;
constexpr std::size_t mostConnections = 256;
/// Of all payloads that are on their way at once.
constexpr std::size_t mostBuffered = 4 * largestPayload;
constexpr std::chrono::seconds patience{5};
constexpr std::chrono::seconds signOfLife{1};

bool isThisUser(int descriptor) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == geteuid();
}

}  // namespace

class HookServer::Connection final : public WaitingHook,
                                     public std::enable_shared_from_this<Connection> {
 public:
  Connection(HookServer& server, Local::socket socket)
      : server_(&server), socket_(std::move(socket)), timer_(socket_.get_executor()) {}

  void start() {
    timer_.expires_after(patience);
    timer_.async_wait([self = shared_from_this()](boost::system::error_code error) {
      if (!error && !self->event_) self->close();
    });
    read();
  }

  void hold(std::optional<std::chrono::seconds> bound) override {
    if (!server_ || isFinished_) return;
    write("wait " + std::to_string(bound ? bound->count() : 0) + "\n");
    tick();
  }

  bool finish(const std::string& output) override {
    if (std::exchange(isFinished_, true) || !server_) return false;
    timer_.cancel();
    // Its end may not have been reported yet.
    pollfd peer{socket_.native_handle(), 0, 0};
    if (poll(&peer, 1, 0) > 0) return close(), false;
    write("answer " + output + "\n");
    return true;
  }

  /// The server goes: the hook reads the end of the stream and may look for the next one.
  void abandon() {
    server_ = nullptr;
    boost::system::error_code ignored;
    timer_.cancel();
    socket_.close(ignored);
  }

 private:
  void read() {
    socket_.async_read_some(
        asio::buffer(chunk_),
        [self = shared_from_this()](boost::system::error_code error, std::size_t size) {
          if (!self->server_) return;
          if (self->event_) return self->peerGone();  // nothing follows a payload but the end
          self->text_.append(self->chunk_.data(), size);
          self->server_->buffered_ += size;
          if (error == asio::error::eof) return self->received();
          const bool isTooMuch =
              self->text_.size() > largestPayload || self->server_->buffered_ > mostBuffered;
          if (error || isTooMuch) return self->close();
          self->read();
        });
  }

  void received() {
    event_ = hookEvent(text_);
    forgetText();
    timer_.cancel();
    const auto receiver =
        event_ ? server_->receivers_.find(event_->agent) : server_->receivers_.end();
    if (!event_ || receiver == server_->receivers_.end()) return close();
    receiver_ = receiver->second;
    if (event_->name != "PermissionRequest") {
      HookEvent event = std::move(*event_);
      close();
      return receiver_->receive(event);
    }
    HookEvent event = std::move(*event_);
    event.waiting = shared_from_this();
    watchPeer();
    receiver_->receive(event);
  }

  void forgetText() {
    server_->buffered_ -= text_.size();
    std::string().swap(text_);
  }

  /// A hook that ends closes its socket, although it closed its writing side long ago.
  void watchPeer() {
    socket_.async_wait(Local::socket::wait_error,
                       [self = shared_from_this()](boost::system::error_code error) {
                         if (!error && self->server_) self->peerGone();
                       });
  }

  void tick() {
    timer_.expires_after(signOfLife);
    timer_.async_wait([self = shared_from_this()](boost::system::error_code error) {
      if (error || self->isFinished_ || !self->server_) return;
      self->write("alive\n");
      self->tick();
    });
  }

  void write(std::string text) {
    queue_.push_back(std::move(text));
    if (queue_.size() == 1) writeNext();
  }

  void writeNext() {
    asio::async_write(socket_, asio::buffer(queue_.front()),
                      [self = shared_from_this()](boost::system::error_code error, std::size_t) {
                        if (!self->server_) return;
                        if (error) return self->peerGone();
                        self->queue_.pop_front();
                        if (!self->queue_.empty()) return self->writeNext();
                        if (self->isFinished_) self->close();
                      });
  }

  void peerGone() {
    const auto self = shared_from_this();
    const bool wasWaiting = receiver_ && !std::exchange(isFinished_, true);
    close();
    if (wasWaiting) receiver_->gone(self);
  }

  void close() {
    if (!server_) return;
    HookServer& server = *server_;
    const auto self = shared_from_this();
    forgetText();
    abandon();
    server.connections_.erase(self);
  }

  HookServer* server_;
  Local::socket socket_;
  asio::steady_timer timer_;
  std::array<char, 16384> chunk_;
  std::string text_;
  std::optional<HookEvent> event_;
  HookReceiver* receiver_ = nullptr;
  std::deque<std::string> queue_;
  bool isFinished_ = false;
};

HookServer::HookServer(asio::io_context& context, std::string path,
                       std::map<std::string, HookReceiver*> receivers)
    : context_(context),
      path_(std::move(path)),
      receivers_(std::move(receivers)),
      acceptor_(context),
      pause_(context) {}

HookServer::~HookServer() {
  for (const auto& connection : connections_)
    connection->abandon();
  if (isListening_) unlink(path_.c_str());
}

void HookServer::start() {
  const std::filesystem::path folder = std::filesystem::path(path_).parent_path();
  if (std::filesystem::create_directories(folder)) chmod(folder.c_str(), 0700);
  const Local::endpoint endpoint(path_);
  boost::system::error_code error;
  Local::socket other(context_);
  other.connect(endpoint, error);
  if (!error) throw std::runtime_error("Another relay already listens at " + path_ + ".");
  unlink(path_.c_str());
  acceptor_.open(endpoint.protocol());
  const mode_t before = umask(0177);
  acceptor_.bind(endpoint, error);
  umask(before);
  if (!error) acceptor_.listen(Local::acceptor::max_listen_connections, error);
  if (error) throw std::runtime_error("Can't listen at " + path_ + ": " + error.message() + ".");
  isListening_ = true;
  accept();
}

void HookServer::acceptLater() {
  pause_.expires_after(patience);
  pause_.async_wait([this](boost::system::error_code error) {
    if (!error) accept();
  });
}

void HookServer::accept() {
  acceptor_.async_accept([this](boost::system::error_code error, Local::socket socket) {
    if (error == asio::error::operation_aborted) return;
    if (error) return acceptLater();
    const bool isWelcome =
        !error && connections_.size() < mostConnections && isThisUser(socket.native_handle());
    if (isWelcome) {
      const auto connection = std::make_shared<Connection>(*this, std::move(socket));
      connections_.insert(connection);
      connection->start();
    }
    accept();
  });
}

}  // namespace idlewyn::relay
