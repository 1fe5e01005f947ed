// SPDX-License-Identifier: MIT
#include "RawClient.hpp"

#include <array>
#include <cstdlib>

#include <arpa/inet.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn::sandbox {

struct RawClient::State {
  ~State() {
    SSL_free(ssl);
    SSL_CTX_free(context);
    if (socket >= 0) close(socket);
  }

  int socket = -1;
  SSL_CTX* context = nullptr;
  SSL* ssl = nullptr;
  bool connected = false;
  std::string buffer;
};

RawClient::RawClient(const platform::URL& address, std::string_view protocols) : state_(new State) {
  state_->socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const timeval limit{2, 0};
  setsockopt(state_->socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  sockaddr_in peer{};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(static_cast<std::uint16_t>(std::stoi(std::string(*address.port()))));
  inet_pton(AF_INET, "127.0.0.1", &peer.sin_addr);
  state_->connected =
      connect(state_->socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) == 0;
  if (!state_->connected || address.lowercasedScheme() != "https") return;
  state_->context = SSL_CTX_new(TLS_client_method());
  state_->ssl = SSL_new(state_->context);
  if (!protocols.empty()) {
    SSL_set_alpn_protos(state_->ssl, reinterpret_cast<const unsigned char*>(protocols.data()),
                        static_cast<unsigned int>(protocols.size()));
  }
  SSL_set_fd(state_->ssl, state_->socket);
  state_->connected = SSL_connect(state_->ssl) == 1;
}

RawClient::~RawClient() = default;

bool RawClient::connected() const { return state_->connected; }

void RawClient::send(std::string_view bytes) {
  if (state_->ssl != nullptr) {
    SSL_write(state_->ssl, bytes.data(), static_cast<int>(bytes.size()));
  } else {
    ::send(state_->socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
  }
}

bool RawClient::readMore() {
  std::array<char, 4096> chunk;
  const int size = static_cast<int>(chunk.size());
  const auto count = state_->ssl != nullptr ? SSL_read(state_->ssl, chunk.data(), size)
                                            : recv(state_->socket, chunk.data(), chunk.size(), 0);
  if (count > 0) state_->buffer.append(chunk.data(), static_cast<std::size_t>(count));
  return count > 0;
}

RawReply RawClient::receive(bool headOnly) {
  RawReply reply;
  std::string& buffer = state_->buffer;
  while (buffer.find("\r\n\r\n") == std::string::npos) {
    if (readMore()) continue;
    reply.cut = true;
    reply.head = buffer;
    return reply;
  }
  const auto end = buffer.find("\r\n\r\n") + 4;
  reply.head = buffer.substr(0, end);
  buffer.erase(0, end);
  reply.status = std::atoi(reply.head.c_str() + std::string_view("HTTP/1.1 ").size());
  const auto length = reply.head.find("Content-Length: ");
  const std::size_t promised =
      headOnly || length == std::string::npos
          ? 0
          : std::stoul(reply.head.substr(length + std::string_view("Content-Length: ").size()));
  while (buffer.size() < promised && !reply.cut)
    reply.cut = !readMore();
  reply.body = buffer.substr(0, promised);
  buffer.erase(0, promised);
  return reply;
}

std::string RawClient::receiveAll() {
  while (readMore()) {
  }
  return std::move(state_->buffer);
}

bool RawClient::closedWithin(int milliseconds) {
  pollfd entry{state_->socket, POLLRDHUP, 0};
  return poll(&entry, 1, milliseconds) > 0;
}

std::string RawClient::peerFingerprint() const {
  if (state_->ssl == nullptr) return {};
  X509* certificate = SSL_get1_peer_certificate(state_->ssl);
  if (certificate == nullptr) return {};
  std::array<unsigned char, 32> digest{};
  unsigned int size = 0;
  X509_digest(certificate, EVP_sha256(), digest.data(), &size);
  X509_free(certificate);
  return platform::hexadecimal({digest.data(), size});
}

std::string RawClient::protocol() const {
  const unsigned char* name = nullptr;
  unsigned int size = 0;
  if (state_->ssl != nullptr) SSL_get0_alpn_selected(state_->ssl, &name, &size);
  return {reinterpret_cast<const char*>(name), size};
}

std::string requestText(std::string_view methodAndTarget, std::string_view token,
                        std::string_view body, std::string_view extraHeaders) {
  std::string text(methodAndTarget);
  text += " HTTP/1.1\r\nHost: relay\r\n";
  text += extraHeaders;
  if (!token.empty()) text.append("Authorization: Bearer ").append(token).append("\r\n");
  if (!body.empty()) text.append("Content-Length: " + std::to_string(body.size()) + "\r\n");
  return text.append("\r\n").append(body);
}

}  // namespace idlewyn::sandbox
