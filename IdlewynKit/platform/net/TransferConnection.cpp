// SPDX-License-Identifier: MIT
// A transfer and its connection: whether that will do, and what the server said over it.
#include <curl/curl.h>

#include <utility>

#include <IdlewynKit/platform/net/internal/SessionCore.hpp>
#include <IdlewynKit/platform/net/internal/Transfer.hpp>

namespace idlewyn::platform {

// Since the last call, or since libcurl began to run the handle.
bool Transfer::hasNewConnection() {
  long connects = 0;
  curl_easy_getinfo(static_cast<CURL*>(handle_), CURLINFO_NUM_CONNECTS, &connects);
  return connects > std::exchange(connects_, connects);
}

// libcurl is about to send the request again. It may where the server has declared that it did
// not process the request, if over a new connection: `startAfresh` sees to that otherwise.
bool Transfer::mayRepeat() {
  if (!wasUnprocessed()) {
    ending_ = Ending::wouldSendTwice;
  } else if (isConnectionNew_) {
    forgetSending();
    return true;
  }
  return false;
}

void Transfer::forgetSending() {
  if (sendings_ > 0) isRepeated_ = true;
  if (stream_ != 0) connection_->ledger().closeStream(std::exchange(stream_, 0));
  sendings_ = 0;
}

void Transfer::learnConnection(int localPort) {
  curl_tlssessioninfo* session = nullptr;
  curl_easy_getinfo(static_cast<CURL*>(handle_), CURLINFO_TLS_SSL_PTR, &session);
  connection_ = SecureConnection::of(session == nullptr ? nullptr : session->internals);
  if (isConnectionNew_) session_->sockets().add(localPort, openedSockets_, {origin(), connection_});
  session_->tellConnected(*this, connection_ && connection_->isOverHTTP2());
}

bool Transfer::isOverSpoiltConnection(int localPort) const {
  if (isConnectionNew_) return false;
  return (connection_ && connection_->isUsedUp()) || session_->sockets().isSpoilt(localPort);
}

void Transfer::countSending() {
  ++sendings_;
  if (!connection_) return;
  receivedBefore_ = connection_->received();
  if (connection_->isOverHTTP2()) stream_ = connection_->ledger().openStream();
}

void Transfer::spoilSilentConnection() {
  const bool isSilent = connection_ && sendings_ > 0 && connection_->received() == receivedBefore_;
  if (isSilent) connection_->spoil();
}

bool Transfer::wasUnprocessed() const {
  const std::string& method = prepared_.request.method;
  return (method == "GET" || method == "HEAD") && stream_ != 0 && !isRepeated_ &&
         !reader_.hasHead() && connection_->ledger().isUnprocessed(stream_);
}

bool Transfer::wantsFreshConnection(int curlCode) const {
  return isConnectionStale_ ||
         (curlCode != CURLE_OK && ending_ == Ending::none && wasUnprocessed());
}

void Transfer::demandFreshConnection() {
  forgetSending();
  isConnectionStale_ = false;
  connects_ = 0;
  curl_easy_setopt(static_cast<CURL*>(handle_), CURLOPT_FORBID_REUSE, 0L);
  curl_easy_setopt(static_cast<CURL*>(handle_), CURLOPT_FRESH_CONNECT, 1L);
}

// To libcurl any end of a stream without an error is the end of its content. A server says so
// itself, unless the length or the kind of the answer tells where the content ends.
bool Transfer::isCutOff() {
  if (stream_ == 0) return false;
  const HTTP2Ledger::Stream known = connection_->ledger().closeStream(std::exchange(stream_, 0));
  const int status = reader_.endedHeadStatus();
  if (prepared_.request.method == "HEAD" || status == 204 || status == 304) return false;
  curl_off_t announced = -1, received = 0;
  auto* const handle = static_cast<CURL*>(handle_);
  curl_easy_getinfo(handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  curl_easy_getinfo(handle, CURLINFO_SIZE_DOWNLOAD_T, &received);
  if (announced >= 0) return received != announced;
  return !known.isEnded || known.contentSize != static_cast<std::uint64_t>(received);
}

}  // namespace idlewyn::platform
