// SPDX-License-Identifier: MIT
#include "RawClient.hpp"

#include <array>
#include <csignal>
#include <cstdlib>

#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <poll.h>
#include <sys/socket.h>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn::sandbox {
namespace {

BIO* bio(void* stream) { return static_cast<BIO*>(stream); }

}  // namespace

RawClient::RawClient(const platform::URL& address, std::string_view protocols) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string peer = "127.0.0.1:" + std::string(address.port().value());
  BIO* socket = BIO_new_connect(peer.c_str());
  stream_ = socket;
  connected_ = BIO_do_connect(socket) == 1;
  if (!connected_) return;
  const timeval limit{2, 0};
  setsockopt(static_cast<int>(BIO_get_fd(socket, nullptr)), SOL_SOCKET, SO_RCVTIMEO, &limit,
             sizeof limit);
  if (address.lowercasedScheme() != "https") return;
  SSL_CTX* context = SSL_CTX_new(TLS_client_method());
  BIO* secure = BIO_new_ssl(context, 1);
  SSL_CTX_free(context);
  SSL* ssl = nullptr;
  BIO_get_ssl(secure, &ssl);
  if (!protocols.empty()) {
    SSL_set_alpn_protos(ssl, reinterpret_cast<const unsigned char*>(protocols.data()),
                        static_cast<unsigned int>(protocols.size()));
  }
  stream_ = BIO_push(secure, socket);
  ssl_ = ssl;
  connected_ = BIO_do_handshake(secure) == 1;
}

RawClient::~RawClient() { BIO_free_all(bio(stream_)); }

void RawClient::send(std::string_view bytes) {
  BIO_write(bio(stream_), bytes.data(), static_cast<int>(bytes.size()));
}

bool RawClient::readMore() {
  std::array<char, 4096> chunk;
  const int count = BIO_read(bio(stream_), chunk.data(), static_cast<int>(chunk.size()));
  if (count > 0) buffer_.append(chunk.data(), static_cast<std::size_t>(count));
  return count > 0;
}

RawReply RawClient::receive(bool headOnly) {
  RawReply reply;
  while (buffer_.find("\r\n\r\n") == std::string::npos) {
    if (readMore()) continue;
    reply.cut = true;
    reply.head = buffer_;
    return reply;
  }
  const auto end = buffer_.find("\r\n\r\n") + 4;
  reply.head = buffer_.substr(0, end);
  buffer_.erase(0, end);
  reply.status = std::atoi(reply.head.c_str() + std::string_view("HTTP/1.1 ").size());
  constexpr std::string_view name = "Content-Length: ";
  const auto length = reply.head.find(name);
  std::size_t promised = 0;
  if (!headOnly && length != std::string::npos) {
    promised = std::stoul(reply.head.substr(length + name.size()));
  }
  while (buffer_.size() < promised && !reply.cut)
    reply.cut = !readMore();
  reply.body = buffer_.substr(0, promised);
  buffer_.erase(0, promised);
  return reply;
}

std::string RawClient::receiveAll() {
  while (readMore())
    continue;
  return std::move(buffer_);
}

bool RawClient::closedWithin(int milliseconds) const {
  pollfd entry{static_cast<int>(BIO_get_fd(bio(stream_), nullptr)), POLLRDHUP, 0};
  return poll(&entry, 1, milliseconds) > 0;
}

std::string RawClient::peerFingerprint() const {
  X509* certificate = SSL_get1_peer_certificate(static_cast<SSL*>(ssl_));
  std::array<unsigned char, 32> digest{};
  unsigned int size = 0;
  if (certificate != nullptr) X509_digest(certificate, EVP_sha256(), digest.data(), &size);
  X509_free(certificate);
  return platform::hexadecimal({digest.data(), size});
}

std::string RawClient::protocol() const {
  const unsigned char* name = nullptr;
  unsigned int size = 0;
  SSL_get0_alpn_selected(static_cast<SSL*>(ssl_), &name, &size);
  return {reinterpret_cast<const char*>(name), size};
}

std::string requestText(std::string_view methodAndTarget, std::string_view token,
                        std::string_view body, std::string_view extraHeaders) {
  std::string text(methodAndTarget);
  text.append(" HTTP/1.1\r\nHost: relay\r\n").append(extraHeaders);
  if (!token.empty()) text.append("Authorization: Bearer ").append(token).append("\r\n");
  if (!body.empty()) text.append("Content-Length: " + std::to_string(body.size()) + "\r\n");
  return text.append("\r\n").append(body);
}

}  // namespace idlewyn::sandbox
