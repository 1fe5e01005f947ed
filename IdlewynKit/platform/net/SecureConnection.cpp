// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/SecureConnection.hpp>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <array>
#include <new>
#include <string_view>
#include <utility>

#include <IdlewynKit/platform/net/internal/IOLoop.hpp>

namespace idlewyn::platform {
namespace {

using Owned = std::shared_ptr<SecureConnection>;

void freeOwned(void*, void* owned, CRYPTO_EX_DATA*, int, long, void*) {
  delete static_cast<Owned*>(owned);
}

int connectionIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, freeOwned);
  return index;
}

Owned* ownedBy(const SSL* ssl) {
  return static_cast<Owned*>(SSL_CTX_get_ex_data(SSL_get_SSL_CTX(ssl), connectionIndex()));
}

bool hasChosenHTTP2(const SSL* ssl) {
  const unsigned char* name = nullptr;
  unsigned size = 0;
  SSL_get0_alpn_selected(ssl, &name, &size);
  return std::string_view(reinterpret_cast<const char*>(name), size) == "h2";
}

}  // namespace

struct SecureConnection::Callbacks {
  static void handshake(const SSL* ssl, int where, int) {
    Owned* const owned = ownedBy(ssl);
    if (owned == nullptr) return;
    SecureConnection& self = **owned;
    if ((where & SSL_CB_HANDSHAKE_START) != 0 && self.ssl_ == nullptr) {
      self.ssl_ = const_cast<SSL*>(ssl);
      BIO* const transport = SSL_get_rbio(ssl);
      BIO_set_callback_ex(transport, &transfer);
      BIO_set_callback_arg(transport, reinterpret_cast<char*>(&self));
    }
    if ((where & SSL_CB_HANDSHAKE_DONE) != 0) self.isOverHTTP2_ = hasChosenHTTP2(ssl);
  }

  // Before each reading, and after each reading and writing, of the bytes under TLS.
  // The same for our own reading. The end of the connection is left for libcurl to find: OpenSSL
  // would tell of it once only.
  static long peek(BIO* transport, int operation, const char*, std::size_t, int, long, int result,
                   std::size_t* count) {
    auto& self = *reinterpret_cast<SecureConnection*>(BIO_get_callback_arg(transport));
    if (operation == BIO_CB_READ && self.loop_.isTurnOver()) {
      self.hasRefused_ = true;
    } else if (operation != (BIO_CB_READ | BIO_CB_RETURN)) {
      return result;
    } else if (result > 0) {
      self.received_ += *count;
      return result;
    } else if (!BIO_should_retry(transport)) {
      self.isOver_ = true;
    }
    BIO_clear_retry_flags(transport);
    BIO_set_retry_read(transport);
    return -1;
  }

  static long transfer(BIO* transport, int operation, const char*, std::size_t, int, long,
                       int result, std::size_t* count) {
    auto& self = *reinterpret_cast<SecureConnection*>(BIO_get_callback_arg(transport));
    switch (operation) {
      case BIO_CB_FREE: self.ssl_ = nullptr; break;
      case BIO_CB_READ:
        if (self.mayRead()) break;
        BIO_clear_retry_flags(transport);
        BIO_set_retry_read(transport);
        return -1;
      case BIO_CB_READ | BIO_CB_RETURN:
        if (result > 0 && count != nullptr) self.received_ += *count;
        break;
      case BIO_CB_WRITE | BIO_CB_RETURN:
        if (result > 0 && count != nullptr) self.sent_ += *count;
        break;
      default: break;
    }
    return result;
  }
};

bool SecureConnection::mayRead() noexcept {
  if (isOverHTTP2_) return isOver_;
  if (!loop_.isTurnOver()) return true;
  hasRefused_ = true;
  return false;
}

void SecureConnection::install(Owned connection, void* sslContext) {
  auto* context = static_cast<SSL_CTX*>(sslContext);
  auto owned = std::make_unique<Owned>(std::move(connection));
  if (SSL_CTX_set_ex_data(context, connectionIndex(), owned.get()) != 1) throw std::bad_alloc();
  static_cast<void>(owned.release());  // the context owns it now
  SSL_CTX_set_info_callback(context, &Callbacks::handshake);
}

Owned SecureConnection::of(const void* ssl) {
  const Owned* const owned = ssl == nullptr ? nullptr : ownedBy(static_cast<const SSL*>(ssl));
  return owned == nullptr ? nullptr : *owned;
}

void SecureConnection::use(int socket) {
  BIO_free(static_cast<BIO*>(direct_));
  BIO* const direct = BIO_new_socket(socket, BIO_NOCLOSE);
  direct_ = direct;
  if (direct == nullptr) throw std::bad_alloc();
  BIO_set_callback_ex(direct, &Callbacks::peek);
  BIO_set_callback_arg(direct, reinterpret_cast<char*>(this));
}

SecureConnection::~SecureConnection() {
  auto* const direct = static_cast<BIO*>(direct_);
  if (direct != nullptr) BIO_set_callback_ex(direct, nullptr);
  BIO_free(direct);
}

// Past libcurl, whose own transport works within its own calls only. Gives OpenSSL's error.
int SecureConnection::peek() {
  auto* const ssl = static_cast<SSL*>(ssl_);
  auto* const direct = static_cast<BIO*>(direct_);
  BIO* const reading = SSL_get_rbio(ssl);
  BIO* const writing = SSL_get_wbio(ssl);
  for (BIO* const kept : {reading, writing, direct, direct})
    BIO_up_ref(kept);
  SSL_set0_rbio(ssl, direct);
  SSL_set0_wbio(ssl, direct);
  static std::array<char, SSL3_RT_MAX_PLAIN_LENGTH> record;  // the loop's thread only
  ERR_clear_error();
  const int count = SSL_peek(ssl, record.data(), static_cast<int>(record.size()));
  const int error = SSL_get_error(ssl, count);  // which asks the transport
  SSL_set0_rbio(ssl, reading);
  SSL_set0_wbio(ssl, writing);
  if (count > 0) ledger_.take({record.data(), static_cast<std::size_t>(count)});
  return error;
}

SecureConnection::Input SecureConnection::nextRecord() {
  auto* const ssl = static_cast<SSL*>(ssl_);
  if (ssl == nullptr || direct_ == nullptr) return Input::ended;
  if (SSL_pending(ssl) > 0) return Input::some;  // looked at before, and not read yet
  if (isOver_) return Input::ended;
  const int error = peek();
  if (error == SSL_ERROR_NONE) return Input::some;
  isDry_ = true;
  if (error == SSL_ERROR_WANT_READ) return isOver_ ? Input::ended : Input::none;
  if (error == SSL_ERROR_WANT_WRITE) return Input::none;
  isAlerted_ = error == SSL_ERROR_SSL && ERR_GET_REASON(ERR_peek_error()) >= SSL_AD_REASON_OFFSET;
  ERR_clear_error();
  return Input::ended;
}

bool SecureConnection::isUsedUp() {
  if (isSpoilt_ || ssl_ == nullptr) return true;
  if (!isOverHTTP2_) return SSL_pending(static_cast<SSL*>(ssl_)) > 0;
  return nextRecord() == Input::ended || ledger_.isGoingAway();
}

bool SecureConnection::takeRefusal() noexcept { return std::exchange(hasRefused_, false); }

}  // namespace idlewyn::platform
