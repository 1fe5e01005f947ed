// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/net/internal/TrustCheck.hpp>

namespace idlewyn::platform {

/// Why we ended a transfer ourselves.
enum class Ending {
  none,
  deadline,
  neverBegan,  // it waited for its turn until too little time was left
  cancelledByCaller,
  cancelledBySession,
  noResources,  // memory or descriptors
  headTooLarge,
  bodyTooLarge,
  layeredCodings,  // the status counts; the content is not decoded
  unequalLengths,
  switchedProtocols,  // a 101 answer has no body that we could wait for
  wouldSendTwice,
};

/// What is known of a transfer that has ended.
struct TransferFacts {
  Ending ending = Ending::none;
  TrustResult trust = TrustResult::notAsked;
  int curlCode = 0;
  /// libcurl is content with a head that the connection's end cuts off.
  bool isHeadComplete = false;
  /// A status line has come. Later versions of libcurl refuse codings before the head is complete.
  bool hasStatus = false;
  /// What libcurl took for a head, "http/1.1" say, is none.
  bool isHeadForeign = false;
  /// Over HTTP/2 libcurl is content with a stream that its server did not end.
  bool isCutOff = false;
  /// The server ended the connection by an alert of TLS.
  bool isAlerted = false;
  /// There was no descriptor for a socket.
  bool lacksDescriptors = false;
  /// libcurl's words on the matter, which never leave this floor.
  std::string_view curlText;
};

/// How an exchange ended: with an answer, with an answer that is not HTTP, or with an error.
struct Verdict {
  enum class Kind { answer, notHTTP, error };

  Kind kind = Kind::answer;
  URLErrorCode code{};
  /// The error's reason, one sentence.
  const char* reason = "";
};

/// What we did ourselves goes before what libcurl makes of it.
Verdict verdictOf(const TransferFacts& facts);

}  // namespace idlewyn::platform
