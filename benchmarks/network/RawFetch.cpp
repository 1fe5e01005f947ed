// SPDX-License-Identifier: MIT
#include "network/RawFetch.hpp"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn::bench {
namespace {

constexpr long keptConnections = 20'000;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "raw fetch: %s\n", what);
  std::exit(2);
}

int checkPin(X509_STORE_CTX* context, void* pin) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  X509* leaf = X509_STORE_CTX_get0_cert(context);
  if (leaf == nullptr || X509_digest(leaf, EVP_sha256(), digest, &size) != 1) return 0;
  if (platform::hexadecimal({digest, size}) != *static_cast<const std::string*>(pin)) return 0;
  X509_STORE_CTX_set_error(context, X509_V_OK);
  return 1;
}

CURLcode newConnection(CURL*, void* context, void* pin) {
  SSL_CTX_set_cert_verify_callback(static_cast<SSL_CTX*>(context), &checkPin, pin);
  return CURLE_OK;
}

std::size_t takeBody(char* bytes, std::size_t, std::size_t size, void* body) {
  static_cast<std::string*>(body)->append(bytes, size);
  return size;
}

void check(const CURLMsg& message) {
  long status = 0;
  curl_easy_getinfo(message.easy_handle, CURLINFO_RESPONSE_CODE, &status);
  if (message.data.result != CURLE_OK) fail(curl_easy_strerror(message.data.result));
  if (status != 200) fail("another status than 200");
}

}  // namespace

RawFetch::RawFetch(std::function<std::string(std::size_t)> address, std::string pin)
    : address_(std::move(address)), pin_(std::move(pin)) {
  curl_global_init(CURL_GLOBAL_DEFAULT);
  multi_ = curl_multi_init();
  curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, keptConnections);
  fields_ = curl_slist_append(nullptr, "Authorization: Bearer token");
}

RawFetch::~RawFetch() {
  for (void* const handle : handles_)
    curl_easy_cleanup(handle);
  curl_multi_cleanup(multi_);
  curl_slist_free_all(static_cast<curl_slist*>(fields_));
}

void* RawFetch::transfer(std::size_t number) {
  CURL* handle = curl_easy_init();
  if (handle == nullptr) fail("no memory");
  curl_easy_setopt(handle, CURLOPT_URL, address_(number).c_str());
  curl_easy_setopt(handle, CURLOPT_HTTPHEADER, fields_);
  curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(handle, CURLOPT_PROXY, "");
  curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "");
  curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &takeBody);
  if (pin_.empty()) return handle;
  curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(handle, CURLOPT_CAINFO, nullptr);
  curl_easy_setopt(handle, CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &newConnection);
  curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, &pin_);
  return handle;
}

std::vector<std::string> RawFetch::fetch(std::size_t count) {
  std::vector<std::string> bodies(count);
  for (std::size_t i = 0; i < count; ++i) {
    if (i == handles_.size()) handles_.push_back(transfer(i));
    curl_easy_setopt(handles_[i], CURLOPT_WRITEDATA, &bodies[i]);
    curl_multi_add_handle(multi_, handles_[i]);
  }
  int running = 0;
  do {
    if (curl_multi_perform(multi_, &running) != CURLM_OK) fail("curl_multi_perform");
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
      check(*message);
      curl_multi_remove_handle(multi_, message->easy_handle);
    }
    if (running > 0) curl_multi_poll(multi_, nullptr, 0, 1000, nullptr);
  } while (running > 0);
  return bodies;
}

}  // namespace idlewyn::bench
