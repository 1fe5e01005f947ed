// SPDX-License-Identifier: MIT
#include <tools/relay/server/Server.hpp>

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>
#include <utility>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ip/v6_only.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/ssl.hpp>

#include <tools/relay-core/Endpoints.hpp>
#include <tools/relay-core/Origin.hpp>

namespace idlewyn::relay {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using asio::ip::tcp;
using beast::tcp_stream;
using TLSStream = beast::ssl_stream<tcp_stream>;
using Parser = http::request_parser<http::string_body>;
using Response = http::response<http::string_body>;

constexpr auto token = asio::as_tuple(asio::use_awaitable);

tcp_stream& lowest(tcp_stream& stream) { return stream; }
tcp_stream& lowest(TLSStream& stream) { return stream.next_layer(); }

/// Chooses HTTP/1.1 where the client offers it (RFC 7301), and goes on without it elsewhere.
int chooseProtocol(SSL*, const unsigned char** chosen, unsigned char* length,
                   const unsigned char* offered, unsigned offeredLength, void*) {
  static constexpr std::array<unsigned char, 9> ours{8, 'h', 't', 't', 'p', '/', '1', '.', '1'};
  unsigned char* found = nullptr;
  if (SSL_select_next_proto(&found, length, ours.data(), ours.size(), offered, offeredLength) !=
      OPENSSL_NPN_NEGOTIATED) {
    return SSL_TLSEXT_ERR_NOACK;
  }
  *chosen = found;
  return SSL_TLSEXT_ERR_OK;
}

std::unique_ptr<asio::ssl::context> makeTLS(const ServerOptions& options) {
  if (!options.certificateChain) return nullptr;
  auto tls = std::make_unique<asio::ssl::context>(asio::ssl::context::tls_server);
  try {
    tls->use_certificate_chain(asio::buffer(*options.certificateChain));
    tls->use_private_key(asio::buffer(options.privateKey), asio::ssl::context::pem);
  } catch (const boost::system::system_error& error) {
    throw std::runtime_error("The relay's certificate can't be used: " + error.code().message() +
                             ".");
  }
  SSL_CTX_set_min_proto_version(tls->native_handle(), TLS1_2_VERSION);
  SSL_CTX_set_options(tls->native_handle(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  SSL_CTX_set_alpn_select_cb(tls->native_handle(), chooseProtocol, nullptr);
  return tls;
}

/// The status for a request that can't be understood; no value where the peer has gone or stopped
/// sending, so that an answer would reach nobody.
std::optional<HTTPAnswer> complaint(const beast::error_code& error) {
  if (error == http::error::body_limit) return errorAnswer(413, "the body is too large");
  if (error == http::error::header_limit || error == http::error::buffer_overflow) {
    return errorAnswer(431, "the head is too large");
  }
  if (error == beast::error::timeout) return errorAnswer(408, "the request took too long");
  const bool isHTTP = error.category() == make_error_code(http::error::bad_method).category();
  if (!isHTTP || error == http::error::end_of_stream || error == http::error::partial_message) {
    return std::nullopt;
  }
  return errorAnswer(400, "bad request");
}

HTTPRequest requestOf(Parser::value_type& message, bool hasLength) {
  HTTPRequest request;
  request.method = std::string(message.method_string());
  request.target = std::string(message.target());
  for (const auto& field : message)
    request.headers.emplace_back(std::string(field.name_string()), std::string(field.value()));
  request.body = std::move(message.body());
  request.hasLength = hasLength;
  request.keepAlive = message.keep_alive();
  return request;
}

Response responseOf(HTTPAnswer answer, bool keepAlive) {
  Response response{static_cast<http::status>(answer.status), 11};
  response.set(http::field::content_type, "application/json");
  response.set(http::field::cache_control, "no-store");
  for (const Header& header : answer.headers)
    response.set(header.name, header.value);
  response.body() = std::move(answer.body);
  response.keep_alive(keepAlive);
  response.prepare_payload();
  return response;
}

/// Exactly one Host in HTTP/1.1 (RFC 9112, section 3.2).
bool namesItsHost(const Parser::value_type& message) {
  const auto count = message.count(http::field::host);
  return count == 1 || (count == 0 && message.version() == 10);
}

struct Target {
  std::string_view path;
  std::string_view query;
};

/// Path without its first slash, and query. A proxy's absolute form loses scheme and authority.
Target targetOf(std::string_view text) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (!text.starts_with(scheme)) continue;
    text.remove_prefix(scheme.size());
    text.remove_prefix(std::min(text.find('/'), text.size()));
  }
  const std::size_t mark = text.find('?');
  Target target{text.substr(0, mark), {}};
  if (mark != std::string_view::npos) target.query = text.substr(mark + 1);
  if (target.path.starts_with('/')) target.path.remove_prefix(1);
  return target;
}

/// An answer that comes from a callback, for a coroutine.
struct Pending {
  explicit Pending(const asio::any_io_executor& executor) : arrived(executor) {
    arrived.expires_at(asio::steady_timer::time_point::max());
  }
  std::optional<HTTPAnswer> answer;
  asio::steady_timer arrived;
};

}  // namespace

class Server::Listener : public std::enable_shared_from_this<Listener> {
 public:
  Listener(asio::io_context& context, Service& service, ServerOptions options)
      : context_(context),
        acceptor_(context),
        pause_(context),
        options_(std::move(options)),
        endpoints_(service),
        tls_(makeTLS(options_)),
        admission_(std::make_shared<Admission>(options_.admission)) {}

  void start() {
    beast::error_code error;
    const auto address = asio::ip::make_address(options_.host, error);
    const tcp::endpoint endpoint(address, options_.port);
    if (!error) acceptor_.open(endpoint.protocol(), error);
    if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error && address == asio::ip::address_v6::any()) {
      acceptor_.set_option(asio::ip::v6_only(false), error);
    }
    if (!error) acceptor_.bind(endpoint, error);
    if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
    if (error) {
      throw std::runtime_error("Can't listen on " + options_.host + " port " +
                               std::to_string(options_.port) + ": " + error.message() + ".");
    }
    asio::co_spawn(context_, accept(shared_from_this()), asio::detached);
  }

  void stop() {
    beast::error_code ignored;
    acceptor_.close(ignored);
    pause_.cancel();
  }

  std::uint16_t port() const { return acceptor_.local_endpoint().port(); }

 private:
  using Self = std::shared_ptr<Listener>;
  using Place = std::shared_ptr<Admission::Place>;

  static asio::awaitable<void> accept(Self self) {
    while (self->acceptor_.is_open()) {
      auto [error, socket] = co_await self->acceptor_.async_accept(token);
      if (!error) {
        self->admit(std::move(socket));
      } else if (self->acceptor_.is_open()) {
        // Out of descriptors, say: the next try comes when some may have been closed.
        self->pause_.expires_after(std::chrono::milliseconds(200));
        co_await self->pause_.async_wait(token);
      }
    }
  }

  void admit(tcp::socket socket) {
    beast::error_code error;
    const auto peer = socket.remote_endpoint(error).address();
    if (error) return;
    const std::string origin = peer.to_string();
    const bool isThisMachine =
        peer.is_loopback() ||
        (peer.is_v6() && peer.to_v6().is_v4_mapped() &&
         asio::ip::make_address_v4(asio::ip::v4_mapped, peer.to_v6()).is_loopback());
    Place place(admission_->enter(countedOrigin(origin), isThisMachine));
    if (place == nullptr) return;
    socket.set_option(tcp::no_delay(true), error);
    asio::co_spawn(context_,
                   tls_ ? encrypted(shared_from_this(), std::move(socket), origin, place)
                        : plain(shared_from_this(), std::move(socket), origin, place),
                   asio::detached);
  }

  static asio::awaitable<void> encrypted(Self self, tcp::socket socket, std::string origin,
                                         Place place) {
    TLSStream stream(std::move(socket), *self->tls_);
    lowest(stream).expires_after(self->options_.handshakeTime);
    auto [failure] = co_await stream.async_handshake(asio::ssl::stream_base::server, token);
    if (failure) co_return;
    place->shookHands();
    co_await exchange(self, stream, origin);
    lowest(stream).expires_after(std::chrono::seconds(2));
    static_cast<void>(co_await stream.async_shutdown(token));
  }

  static asio::awaitable<void> plain(Self self, tcp::socket socket, std::string origin,
                                     Place place) {
    tcp_stream stream(std::move(socket));
    place->shookHands();
    co_await exchange(self, stream, origin);
    beast::error_code ignored;
    stream.socket().shutdown(tcp::socket::shutdown_send, ignored);
  }

  /// Requests and answers until one side wants no more.
  template <class Stream>
  static asio::awaitable<void> exchange(Self self, Stream& stream, const std::string& origin) {
    beast::flat_buffer buffer(self->options_.largestHead + self->options_.largestBody);
    while (self->acceptor_.is_open()) {
      if (buffer.size() == 0) {
        lowest(stream).expires_after(self->options_.idleTime);
        auto [error, count] = co_await stream.async_read_some(buffer.prepare(4096), token);
        if (error) co_return;
        buffer.commit(count);
      }
      lowest(stream).expires_after(self->options_.receivingTime);
      auto [request, problem] = co_await receive(self, stream, buffer);
      if (!request && !problem) co_return;
      const bool keepAlive = request && request->keepAlive;
      // g++ 12 destroys the wrong object when co_await stands in a conditional expression.
      if (request) problem = co_await answer(self, *request, origin);
      Response response = responseOf(*std::move(problem), keepAlive);
      lowest(stream).expires_after(self->options_.sendingTime);
      auto [error, count] = co_await http::async_write(stream, response, token);
      if (error || !keepAlive) co_return;
    }
  }

  using Received = std::pair<std::optional<HTTPRequest>, std::optional<HTTPAnswer>>;

  template <class Stream>
  static asio::awaitable<Received> receive(Self self, Stream& stream, beast::flat_buffer& buffer) {
    Parser parser;
    parser.header_limit(static_cast<std::uint32_t>(self->options_.largestHead));
    parser.body_limit(self->options_.largestBody);
    auto [headError, headSize] = co_await http::async_read_header(stream, buffer, parser, token);
    if (headError) co_return Received(std::nullopt, complaint(headError));
    auto& message = parser.get();
    if (!namesItsHost(message)) co_return Received(std::nullopt, errorAnswer(400, "no host"));
    if (beast::iequals(message[http::field::expect], "100-continue")) {
      http::response<http::empty_body> goOn{http::status::continue_, 11};
      auto [error, count] = co_await http::async_write(stream, goOn, token);
      if (error) co_return Received();
    }
    auto [error, size] = co_await http::async_read(stream, buffer, parser, token);
    if (error) co_return Received(std::nullopt, complaint(error));
    const bool hasLength = parser.content_length().has_value() || parser.chunked();
    co_return Received(requestOf(message, hasLength), std::nullopt);
  }

  static asio::awaitable<HTTPAnswer> answer(Self self, const HTTPRequest& request,
                                            const std::string& origin) {
    const auto pending = std::make_shared<Pending>(self->context_.get_executor());
    const Target target = targetOf(request.target);
    self->endpoints_.answer(request, target.path, target.query, origin,
                            [pending](HTTPAnswer answer) {
                              pending->answer = std::move(answer);
                              pending->arrived.cancel();
                            });
    if (!pending->answer) co_await pending->arrived.async_wait(token);
    co_return pending->answer ? *std::move(pending->answer) : errorAnswer(503, "no answer");
  }

  asio::io_context& context_;
  tcp::acceptor acceptor_;
  asio::steady_timer pause_;
  const ServerOptions options_;
  Endpoints endpoints_;
  std::unique_ptr<asio::ssl::context> tls_;
  std::shared_ptr<Admission> admission_;
};

Server::Server(asio::io_context& context, Service& service, ServerOptions options)
    : listener_(std::make_shared<Listener>(context, service, std::move(options))) {}

Server::~Server() { listener_->stop(); }

void Server::start() { listener_->start(); }

std::uint16_t Server::port() const { return listener_->port(); }

}  // namespace idlewyn::relay
