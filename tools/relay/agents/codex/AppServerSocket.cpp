// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerSocket.hpp>

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <deque>

#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/post.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

namespace idlewyn::relay::codex {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using Socket = beast::basic_stream<asio::local::stream_protocol, asio::any_io_executor>;

constexpr std::chrono::seconds patience{5};
/// A message carries at most a whole session's items.
constexpr std::size_t largestMessage = 32U << 20U;
/// What may wait for a server that reads nothing.
constexpr std::size_t longestQueue = 1024;

bool isThisUser(int descriptor) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == geteuid();
}

}  // namespace

class AppServerSocket::Connection : public std::enable_shared_from_this<Connection> {
 public:
  explicit Connection(asio::io_context& context) : stream_(context) {}

  void connect(const std::string& path, Handlers handlers) {
    handlers_ = std::move(handlers);
    asio::local::stream_protocol::endpoint endpoint;
    try {
      endpoint = asio::local::stream_protocol::endpoint(path);
    } catch (const boost::system::system_error& error) {  // a path that is too long
      return end(error.code());
    }
    lowest().expires_after(patience);
    lowest().async_connect(endpoint, [self = shared_from_this()](beast::error_code error) {
      error ? self->end(error) : self->shakeHands();
    });
  }

  void send(std::string text) {
    if (queue_.size() >= longestQueue) {
      // Not from within the caller, which `closed` may destroy.
      return asio::post(stream_.get_executor(),
                        [self = shared_from_this()] { self->end(asio::error::no_buffer_space); });
    }
    queue_.push_back(std::move(text));
    if (queue_.size() == 1) write();
  }

  void abandon() {
    handlers_ = {};
    beast::error_code ignored;
    lowest().socket().close(ignored);
  }

 private:
  Socket& lowest() { return stream_.next_layer(); }

  void shakeHands() {
    if (!isThisUser(lowest().socket().native_handle()))
      return end(asio::error::make_error_code(asio::error::access_denied));
    lowest().expires_never();
    auto timeouts = websocket::stream_base::timeout::suggested(beast::role_type::client);
    timeouts.handshake_timeout = patience;
    // An idle server stays connected, and nobody is woken to ask after it.
    timeouts.idle_timeout = websocket::stream_base::none();
    stream_.set_option(timeouts);
    stream_.read_message_max(largestMessage);
    stream_.async_handshake("localhost", "/", [self = shared_from_this()](beast::error_code error) {
      if (error) return self->end(error);
      if (self->handlers_.opened) self->handlers_.opened();
      self->read();
    });
  }

  void read() {
    stream_.async_read(buffer_, [self = shared_from_this()](beast::error_code error, std::size_t) {
      if (error) return self->end(error);
      const auto bytes = self->buffer_.cdata();
      // A copy, because the handler may destroy the socket.
      const std::string text(static_cast<const char*>(bytes.data()), bytes.size());
      self->buffer_.clear();
      if (const auto received = self->handlers_.received) received(text);
      if (self->handlers_.received) self->read();
    });
  }

  void write() {
    stream_.text(true);
    stream_.async_write(asio::buffer(queue_.front()),
                        [self = shared_from_this()](beast::error_code error, std::size_t) {
                          if (error) return self->end(error);
                          self->queue_.pop_front();
                          if (!self->queue_.empty()) self->write();
                        });
  }

  void end(const beast::error_code& error) {
    const auto closed = std::move(handlers_.closed);
    abandon();
    if (closed) closed(error.message());
  }

  websocket::stream<Socket> stream_;
  beast::flat_buffer buffer_;
  std::deque<std::string> queue_;
  Handlers handlers_;
};

AppServerSocket::AppServerSocket(asio::io_context& context)
    : connection_(std::make_shared<Connection>(context)) {}

AppServerSocket::~AppServerSocket() { connection_->abandon(); }

void AppServerSocket::connect(const std::string& path, Handlers handlers) {
  connection_->connect(path, std::move(handlers));
}

void AppServerSocket::send(std::string text) { connection_->send(std::move(text)); }

}  // namespace idlewyn::relay::codex
