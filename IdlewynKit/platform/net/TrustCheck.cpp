// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/TrustCheck.hpp>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>
#include <vector>

namespace idlewyn::platform {
namespace {

std::atomic<bool> isKeyLoggingAllowed = false;

using OwnedCheck = std::shared_ptr<TrustCheck>;

void freeCheck(void*, void* check, CRYPTO_EX_DATA*, int, long, void*) {
  delete static_cast<OwnedCheck*>(check);
}

int checkIndex() {
  static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, freeCheck);
  return index;
}

// One store for all contexts. It is filled when it is first needed: that takes longer than
// twenty handshakes, and pinned sessions never need it.
X509_STORE* authorities() {
  static X509_STORE* const store = [] {
    X509_STORE* made = X509_STORE_new();
    if (made == nullptr) throw std::bad_alloc();
    return made;
  }();
  return store;
}

void loadAuthorities() {
  static std::once_flag once;
  // Honours SSL_CERT_FILE and SSL_CERT_DIR.
  std::call_once(once, [] { X509_STORE_set_default_paths(authorities()); });
}

Certificate certificateOf(X509* certificate) {
  const int size = i2d_X509(certificate, nullptr);
  Data der;
  if (size <= 0) return Certificate(std::move(der));
  der.storage.resize(static_cast<std::size_t>(size));
  auto* out = reinterpret_cast<unsigned char*>(der.storage.data());
  i2d_X509(certificate, &out);
  return Certificate(std::move(der));
}

ServerTrust presentedBy(X509_STORE_CTX* context) {
  std::vector<Certificate> chain;
  const STACK_OF(X509)* sent = X509_STORE_CTX_get0_untrusted(context);
  chain.reserve(static_cast<std::size_t>(std::max(sk_X509_num(sent), 0)));
  for (int i = 0; i < sk_X509_num(sent); ++i) {
    chain.push_back(certificateOf(sk_X509_value(sent, i)));
  }
  return ServerTrust(std::move(chain));
}

// An address is looked for among the certificate's addresses, a name among its names.
bool expectHost(X509_VERIFY_PARAM* parameters, std::string host) {
  if (X509_VERIFY_PARAM_set1_ip_asc(parameters, host.c_str()) == 1) return true;
  if (host.ends_with('.')) host.pop_back();
  // The subject's common name is no host name (RFC 9525, section 2).
  X509_VERIFY_PARAM_set_hostflags(
      parameters, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
  return X509_VERIFY_PARAM_set1_host(parameters, host.data(), host.size()) == 1;
}

// Authorities are read from files, some of them once for the life of the process.
bool canOpenFiles() {
  const int opened = open("/", O_PATH | O_CLOEXEC);
  if (opened < 0) return false;
  close(opened);
  return true;
}

TrustResult defaultHandling(X509_STORE_CTX* context, const std::string& host) {
  if (!canOpenFiles()) return TrustResult::noResources;
  loadAuthorities();
  if (!expectHost(X509_STORE_CTX_get0_param(context), host)) return TrustResult::untrusted;
  if (X509_verify_cert(context) == 1) return TrustResult::accepted;
  switch (X509_STORE_CTX_get_error(context)) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
    case X509_V_ERR_ERROR_IN_CERT_NOT_BEFORE_FIELD:
    case X509_V_ERR_ERROR_IN_CERT_NOT_AFTER_FIELD: return TrustResult::badDate;
    default: return TrustResult::untrusted;
  }
}

// Whatever is not a clear permission cancels.
TrustResult askDelegate(X509_STORE_CTX* context, const TrustCheck& check) {
  const auto delegate = check.delegate.lock();
  if (!delegate) return TrustResult::cancelled;
  const ServerTrust trust = presentedBy(context);
  const ChallengeAnswer answer = delegate->didReceive(AuthenticationMethod::serverTrust, trust);
  switch (answer.disposition) {
    case ChallengeDisposition::performDefaultHandling: return defaultHandling(context, check.host);
    case ChallengeDisposition::useCredential:
      return answer.credential && answer.credential->trust == trust ? TrustResult::accepted
                                                                    : TrustResult::cancelled;
    case ChallengeDisposition::cancelAuthenticationChallenge: break;
  }
  return TrustResult::cancelled;
}

int verify(X509_STORE_CTX* context, void* argument) {
  TrustCheck& check = *static_cast<TrustCheck*>(argument);
  ERR_set_mark();
  try {
    check.result =
        check.hasDelegate ? askDelegate(context, check) : defaultHandling(context, check.host);
  } catch (const std::bad_alloc&) {
    check.result = TrustResult::noResources;
  } catch (...) {
    check.result = TrustResult::cancelled;  // the delegate's exception may not cross OpenSSL
  }
  ERR_pop_to_mark();  // what was tried in vain is no error of the handshake
  if (check.result == TrustResult::accepted) {
    X509_STORE_CTX_set_error(context, X509_V_OK);
    return 1;
  }
  if (X509_STORE_CTX_get_error(context) == X509_V_OK) {
    X509_STORE_CTX_set_error(context, X509_V_ERR_APPLICATION_VERIFICATION);
  }
  return 0;
}

}  // namespace

void allowKeyLogging(bool isAllowed) noexcept { isKeyLoggingAllowed = isAllowed; }

void install(std::shared_ptr<TrustCheck> check, void* sslContext) {
  auto* context = static_cast<SSL_CTX*>(sslContext);
  TrustCheck* borrowed = check.get();
  auto owned = std::make_unique<OwnedCheck>(std::move(check));
  // Without the certificate store of its own a context would load one for each connection.
  if (SSL_CTX_set_ex_data(context, checkIndex(), owned.get()) != 1) throw std::bad_alloc();
  static_cast<void>(owned.release());  // the context owns it now
  SSL_CTX_set1_cert_store(context, authorities());
  if (!isKeyLoggingAllowed) SSL_CTX_set_keylog_callback(context, nullptr);
  SSL_CTX_set_options(context, SSL_OP_NO_RENEGOTIATION);
  SSL_CTX_set_verify(context, SSL_VERIFY_PEER, nullptr);
  SSL_CTX_set_cert_verify_callback(context, verify, borrowed);
}

}  // namespace idlewyn::platform
