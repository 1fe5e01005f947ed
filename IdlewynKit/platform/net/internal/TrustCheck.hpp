// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <utility>

#include <IdlewynKit/platform/net/URLSession.hpp>

namespace idlewyn::platform {

/// How the question whether to trust the server ended.
enum class TrustResult {
  notAsked,  // no handshake yet, or a kept connection
  accepted,
  cancelled,  // by the delegate
  badDate,
  untrusted,
  noResources,  // the authorities can't be read
};

/// The decision about the server of one connection. Connections keep it longer than the
/// exchange that opened them, so it refers to the delegate weakly.
struct TrustCheck {
  TrustCheck(const std::shared_ptr<URLSessionDelegate>& delegate, std::string host)
      : hasDelegate(delegate != nullptr), delegate(delegate), host(std::move(host)) {}

  const bool hasDelegate;
  const std::weak_ptr<URLSessionDelegate> delegate;
  const std::string host;
  TrustResult result = TrustResult::notAsked;
};

/// Any thread; applies to contexts that are installed later.
void allowKeyLogging(bool isAllowed) noexcept;

/// Makes every handshake of the context (an SSL_CTX) ask `check` and nothing else.
void install(std::shared_ptr<TrustCheck> check, void* sslContext);

}  // namespace idlewyn::platform
