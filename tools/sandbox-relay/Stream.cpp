// SPDX-License-Identifier: MIT
#include "Stream.hpp"

#include <array>
#include <cerrno>
#include <chrono>
#include <string>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <tools/relay-core/OpenSSLHandles.hpp>

namespace idlewyn::sandbox {

struct TLSContext {
  std::unique_ptr<SSL_CTX, relay::internal::Release<SSL_CTX_free>> context{
      SSL_CTX_new(TLS_server_method())};
};

namespace {

using namespace relay::internal;
using SteadyClock = std::chrono::steady_clock;

constexpr timeval idleLimit{120, 0};

// Only HTTP/1.1 is spoken here; a client that offers other protocols alone is refused, as
// RFC 7301 asks for.
int selectProtocol(SSL*, const unsigned char** selected, unsigned char* size,
                   const unsigned char* offered, unsigned int offeredSize, void*) {
  constexpr std::string_view ours = "\x08http/1.1";
  unsigned char* match = nullptr;
  const int result =
      SSL_select_next_proto(&match, size, reinterpret_cast<const unsigned char*>(ours.data()),
                            static_cast<unsigned int>(ours.size()), offered, offeredSize);
  *selected = match;
  return result == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_ALERT_FATAL;
}

void useChain(SSL_CTX* context, std::string_view chainPEM) {
  const BIOHandle reader = memoryReader(chainPEM);
  const X509Handle leaf(PEM_read_bio_X509(reader.get(), nullptr, nullptr, nullptr));
  check(leaf != nullptr && SSL_CTX_use_certificate(context, leaf.get()) == 1, "bad certificate");
  while (X509* next = PEM_read_bio_X509(reader.get(), nullptr, nullptr, nullptr)) {
    check(SSL_CTX_add0_chain_cert(context, next) == 1, "bad certificate chain");
  }
  ERR_clear_error();
}

}  // namespace

TLSContextPointer makeTLSContext(std::string_view chainPEM, std::string_view keyPEM) {
  auto made = std::make_shared<TLSContext>();
  SSL_CTX* context = made->context.get();
  check(context != nullptr, "can't make a TLS context");
  SSL_CTX_set_min_proto_version(context, TLS1_2_VERSION);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION | SSL_OP_IGNORE_UNEXPECTED_EOF);
  SSL_CTX_set_alpn_select_cb(context, selectProtocol, nullptr);
  useChain(context, chainPEM);
  const KeyHandle key(
      PEM_read_bio_PrivateKey(memoryReader(keyPEM).get(), nullptr, nullptr, nullptr));
  check(key != nullptr && SSL_CTX_use_PrivateKey(context, key.get()) == 1, "bad private key");
  return made;
}

struct Stream::State {
  int socket;
  TLSContextPointer context;
  SSLHandle ssl;

  // Waits for the peer to close; bytes that it sends meanwhile are left where they are.
  bool closedWithin(int milliseconds) const {
    pollfd entry{socket, POLLRDHUP, 0};
    return poll(&entry, 1, milliseconds) != 0;
  }
};

Stream::Stream(int socket, TLSContextPointer context)
    : state_(new State{socket, std::move(context), nullptr}) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &idleLimit, sizeof idleLimit);
  setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &idleLimit, sizeof idleLimit);
}

Stream::~Stream() {
  state_->ssl.reset();
  close(state_->socket);
}

bool Stream::handshake() {
  if (state_->context == nullptr) return true;
  state_->ssl.reset(SSL_new(state_->context->context.get()));
  SSL* ssl = state_->ssl.get();
  const bool ok = ssl != nullptr && SSL_set_fd(ssl, state_->socket) == 1 && SSL_accept(ssl) == 1;
  ERR_clear_error();
  return ok;
}

std::size_t Stream::read(std::span<char> buffer) {
  if (state_->ssl != nullptr) {
    std::size_t count = 0;
    const bool ok = SSL_read_ex(state_->ssl.get(), buffer.data(), buffer.size(), &count) == 1;
    if (!ok) ERR_clear_error();
    return ok ? count : 0;
  }
  ssize_t count = 0;
  do {
    count = recv(state_->socket, buffer.data(), buffer.size(), 0);
  } while (count < 0 && errno == EINTR);
  return count > 0 ? static_cast<std::size_t>(count) : 0;
}

bool Stream::write(std::string_view bytes) {
  while (!bytes.empty()) {
    std::size_t count = 0;
    if (state_->ssl != nullptr) {
      if (SSL_write_ex(state_->ssl.get(), bytes.data(), bytes.size(), &count) != 1) {
        ERR_clear_error();
        return false;
      }
    } else {
      const ssize_t sent = send(state_->socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent < 0 && errno != EINTR) return false;
      count = sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }
    bytes.remove_prefix(count);
  }
  return true;
}

void Stream::waitForClose() {
  while (!state_->closedWithin(-1)) {
  }
}

bool Stream::wait(double seconds) {
  // More than a day is as good as for ever, and fits the argument of poll.
  const double milliseconds = seconds < 86'400 ? seconds * 1000 : 86'400'000;
  return !(milliseconds > 0) || !state_->closedWithin(static_cast<int>(milliseconds));
}

void Stream::finish() {
  if (state_->ssl != nullptr) SSL_shutdown(state_->ssl.get());
  ERR_clear_error();
  shutdown(state_->socket, SHUT_WR);
  const auto end = SteadyClock::now() + std::chrono::seconds(1);
  std::array<char, 4096> rest;
  pollfd entry{state_->socket, POLLIN, 0};
  while (SteadyClock::now() < end && poll(&entry, 1, 200) > 0 &&
         recv(state_->socket, rest.data(), rest.size(), MSG_DONTWAIT) > 0) {
  }
}

void Stream::interrupt() noexcept { shutdown(state_->socket, SHUT_RDWR); }

bool Stream::fromLoopback() const {
  sockaddr_storage peer{};
  socklen_t size = sizeof peer;
  if (getpeername(state_->socket, reinterpret_cast<sockaddr*>(&peer), &size) != 0) return false;
  if (peer.ss_family == AF_INET) {
    const auto& address = reinterpret_cast<const sockaddr_in&>(peer);
    return ntohl(address.sin_addr.s_addr) >> 24 == 127;
  }
  const auto& address = reinterpret_cast<const sockaddr_in6&>(peer);
  return peer.ss_family == AF_INET6 && IN6_IS_ADDR_LOOPBACK(&address.sin6_addr);
}

}  // namespace idlewyn::sandbox
