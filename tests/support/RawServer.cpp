// SPDX-License-Identifier: MIT
#include "tests/support/RawServer.hpp"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

namespace idlewyn::testing {
namespace {

void require(bool condition) {
  if (!condition) throw std::runtime_error("a test certificate could not be made");
}

void addExtension(X509* certificate, int kind, const std::string& value) {
  X509V3_CTX context;
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
  require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1);
  X509_EXTENSION_free(extension);
}

bool isAddress(const std::string& host) {
  return host.find_first_not_of("0123456789.") == std::string::npos;
}

// Bound to a port of 127.0.0.1 that the kernel chose.
std::pair<int, int> boundSocket() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(socket, generic, size) != 0 || getsockname(socket, generic, &size) != 0) {
    throw std::runtime_error("no port to be had");
  }
  return {socket, ntohs(address.sin_port)};
}

int chooseHTTP2(SSL*, const unsigned char** chosen, unsigned char* size, const unsigned char*,
                unsigned, void*) {
  *chosen = reinterpret_cast<const unsigned char*>("h2");
  *size = 2;
  return SSL_TLSEXT_ERR_OK;
}

std::shared_ptr<void> makeContext(const RawServer::TLS& tls) {
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  SSL_CTX_use_certificate(context, static_cast<X509*>(tls.certificate.certificate()));
  SSL_CTX_use_PrivateKey(context, static_cast<EVP_PKEY*>(tls.certificate.key()));
  for (const TestCertificate& certificate : tls.chain) {
    SSL_CTX_add1_chain_cert(context, static_cast<X509*>(certificate.certificate()));
  }
  SSL_CTX_set_security_level(context, 0);  // without which old versions find no cipher
  SSL_CTX_set_min_proto_version(context, tls.version);
  SSL_CTX_set_max_proto_version(context, tls.version);
  if (tls.demandsClientCertificate) {
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  if (tls.choosesHTTP2) SSL_CTX_set_alpn_select_cb(context, chooseHTTP2, nullptr);
  return {context, [](void* p) { SSL_CTX_free(static_cast<SSL_CTX*>(p)); }};
}

std::size_t contentLength(const std::string& head) {
  const auto found = head.find("Content-Length: ");
  return found == std::string::npos ? 0 : std::strtoul(head.c_str() + found + 16, nullptr, 10);
}

}  // namespace

TestCertificate::TestCertificate(const Shape& shape)
    : certificate_(X509_new(), [](void* p) { X509_free(static_cast<X509*>(p)); }),
      key_(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"),
           [](void* p) { EVP_PKEY_free(static_cast<EVP_PKEY*>(p)); }) {
  auto* certificate = static_cast<X509*>(certificate_.get());
  auto* key = static_cast<EVP_PKEY*>(key_.get());
  require(certificate != nullptr && key != nullptr);
  X509_set_version(certificate, 2);
  static std::atomic<std::int64_t> made = 0;
  ASN1_INTEGER_set_int64(X509_get_serialNumber(certificate), ++made);
  constexpr long day = 24 * 3600;
  X509_gmtime_adj(X509_getm_notBefore(certificate), shape.validFrom * day);
  X509_gmtime_adj(X509_getm_notAfter(certificate), shape.validTo * day);
  const auto* subject = reinterpret_cast<const unsigned char*>(shape.host.c_str());
  X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate), "CN", MBSTRING_ASC, subject, -1,
                             -1, 0);
  X509_set_pubkey(certificate, key);
  addExtension(certificate, NID_basic_constraints,
               shape.isAuthority ? "critical,CA:TRUE" : "critical,CA:FALSE");
  if (shape.hasAlternativeName) {
    addExtension(certificate, NID_subject_alt_name,
                 (isAddress(shape.host) ? "IP:" : "DNS:") + shape.host);
  }
  const TestCertificate& issuer = shape.issuer != nullptr ? *shape.issuer : *this;
  X509_set_issuer_name(certificate,
                       X509_get_subject_name(static_cast<X509*>(issuer.certificate())));
  require(X509_sign(certificate, static_cast<EVP_PKEY*>(issuer.key()), EVP_sha256()) != 0);
}

platform::Data TestCertificate::der() const {
  auto* certificate = static_cast<X509*>(certificate_.get());
  platform::Data data;
  data.storage.resize(static_cast<std::size_t>(i2d_X509(certificate, nullptr)));
  auto* out = reinterpret_cast<unsigned char*>(data.storage.data());
  i2d_X509(certificate, &out);
  return data;
}

std::string TestCertificate::pem() const {
  BIO* memory = BIO_new(BIO_s_mem());
  require(PEM_write_bio_X509(memory, static_cast<X509*>(certificate_.get())) == 1);
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory, &text);
  std::string result(text, static_cast<std::size_t>(size));
  BIO_free(memory);
  return result;
}

RawServer::Connection::Connection(RawServer& server, int socket, int number)
    : server_(server), socket_(socket), number_(number) {}

RawServer::Connection::~Connection() {
  SSL_free(static_cast<SSL*>(ssl_));
  if (socket_ >= 0) close(socket_);
}

bool RawServer::Connection::handshake() {
  if (!server_.tls_) return true;
  if (number_ < server_.tls_->silentConnections) {
    hang();
    return false;
  }
  SSL* ssl = SSL_new(static_cast<SSL_CTX*>(server_.context_.get()));
  ssl_ = ssl;
  SSL_set_fd(ssl, socket_);
  return SSL_accept(ssl) == 1;
}

long RawServer::Connection::read(char* bytes, std::size_t size) {
  if (ssl_ != nullptr) return SSL_read(static_cast<SSL*>(ssl_), bytes, static_cast<int>(size));
  return recv(socket_, bytes, size, 0);
}

std::string RawServer::Connection::readRequest() {
  std::array<char, 16384> buffer;
  std::size_t wanted = std::string::npos;
  while (true) {
    const auto end = unread_.find("\r\n\r\n");
    if (end != std::string::npos) {
      wanted = end + 4 + contentLength(unread_.substr(0, end + 2));
      if (unread_.size() >= wanted) break;
    }
    const long count = read(buffer.data(), buffer.size());
    if (count <= 0) return {};
    unread_.append(buffer.data(), static_cast<std::size_t>(count));
  }
  std::string request = unread_.substr(0, wanted);
  unread_.erase(0, wanted);
  record(request);
  return request;
}

std::string RawServer::Connection::readBytes(std::size_t count) {
  std::string bytes;
  char byte = 0;
  while (bytes.size() < count && read(&byte, 1) > 0)
    bytes += byte;
  return bytes;
}

void RawServer::Connection::record(std::string request) {
  const std::lock_guard lock(server_.mutex_);
  server_.requests_.push_back(std::move(request));
}

bool RawServer::Connection::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const long count = ssl_ != nullptr ? SSL_write(static_cast<SSL*>(ssl_), bytes.data(),
                                                   static_cast<int>(bytes.size()))
                                       : send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

void RawServer::Connection::hang() {
  std::array<char, 4096> buffer;
  while (read(buffer.data(), buffer.size()) > 0)
    continue;
}

void RawServer::Connection::reset() {
  const linger now{1, 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  close(socket_.exchange(-1));
  ++server_.closedCount_;
}

RawServer::RawServer(Script script, std::optional<TLS> tls)
    : script_(std::move(script)), tls_(std::move(tls)) {
  if (tls_) context_ = makeContext(*tls_);
  std::tie(listener_, port_) = boundSocket();
  listen(listener_, 512);
  acceptor_ = std::thread([this] { acceptAll(); });
}

RawServer::~RawServer() {
  isStopping_ = true;
  shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  {
    const std::lock_guard lock(mutex_);
    for (Connection& connection : connections_) {
      if (connection.socket_ >= 0) shutdown(connection.socket_, SHUT_RDWR);
    }
  }
  for (std::thread& thread : threads_)
    thread.join();
  close(listener_);
}

void RawServer::acceptAll() {
  while (true) {
    const int socket = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (isStopping_) {
      if (socket >= 0) close(socket);
      return;
    }
    if (socket < 0) continue;
    const int now = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &now, sizeof now);
    const std::lock_guard lock(mutex_);
    Connection& connection = connections_.emplace_back(*this, socket, connectionCount_);
    ++connectionCount_;
    threads_.emplace_back([this, &connection] { serve(connection); });
  }
}

void RawServer::serve(Connection& connection) {
  sigset_t pipe;  // OpenSSL writes without MSG_NOSIGNAL; the rest of the process stays exposed
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
  if (connection.handshake()) script_(connection);
  if (connection.ssl_ != nullptr && connection.socket_ >= 0) {
    SSL_shutdown(static_cast<SSL*>(connection.ssl_));
  }
  const std::lock_guard lock(mutex_);
  if (connection.socket_ < 0) return;
  // An orderly end, even where bytes of the peer were left unread.
  shutdown(connection.socket_, SHUT_WR);
  if (!isStopping_) {
    std::array<char, 4096> buffer;
    while (recv(connection.socket_, buffer.data(), buffer.size(), MSG_DONTWAIT) > 0)
      continue;
  }
  close(connection.socket_.exchange(-1));
  ++closedCount_;
}

std::string RawServer::url(std::string_view path, std::string_view host) const {
  return (tls_ ? "https://" : "http://") + std::string(host) + ":" + std::to_string(port_) +
         std::string(path);
}

std::vector<std::string> RawServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

bool RawServer::waitForConnections(int count) const {
  return waitUntil([&] { return connectionCount_ >= count; });
}

bool RawServer::waitForRequests(std::size_t count) const {
  return waitUntil([&] { return requests().size() >= count; });
}

bool RawServer::waitForClosed(int count) const {
  return waitUntil([&] { return closedCount_ >= count; });
}

std::string RawServer::answer(std::string_view body, std::string_view status,
                              std::string_view fields) {
  return "HTTP/1.1 " + std::string(status) + "\r\n" + std::string(fields) +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + std::string(body);
}

RawServer::Script RawServer::answering(std::string text) {
  return [text = std::move(text)](Connection& connection) {
    while (!connection.readRequest().empty())
      connection.write(text);
  };
}

int refusedPort() {
  static const auto bound = boundSocket();  // kept, so that nobody else is given the port
  return bound.second;
}

}  // namespace idlewyn::testing
