// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/Verdict.hpp>

#include <curl/curl.h>

namespace idlewyn::platform {
namespace {

constexpr Verdict answer{Verdict::Kind::answer, {}, ""};
constexpr Verdict notHTTP{Verdict::Kind::notHTTP, {}, ""};

constexpr Verdict error(URLErrorCode code, const char* reason) {
  return {Verdict::Kind::error, code, reason};
}

constexpr Verdict timedOut = error(URLErrorCode::timedOut, "The request timed out.");
constexpr Verdict connectionLost =
    error(URLErrorCode::networkConnectionLost, "The network connection was lost.");
constexpr Verdict secureConnectionFailed =
    error(URLErrorCode::secureConnectionFailed, "A secure connection could not be made.");
constexpr Verdict noResources =
    error(URLErrorCode::cannotConnectToHost,
          "The system has no memory or file descriptors left for a connection.");
constexpr Verdict badResponse =
    error(URLErrorCode::badServerResponse, "The server's answer could not be understood.");

// CURLE_TOO_LARGE, which not all versions have.
constexpr int curlTooLarge = 100;

std::optional<Verdict> verdictOfEnding(Ending ending) {
  switch (ending) {
    case Ending::none: return std::nullopt;
    case Ending::deadline: return timedOut;
    case Ending::neverBegan:
      return error(URLErrorCode::timedOut,
                   "The request was not sent in time: too many others were under way.");
    case Ending::cancelledByCaller:
      return error(URLErrorCode::cancelled, "The request was cancelled.");
    case Ending::cancelledBySession:
      return error(URLErrorCode::cancelled, "The session was invalidated.");
    case Ending::noResources: return noResources;
    case Ending::headTooLarge:
    case Ending::unequalLengths: return badResponse;
    case Ending::bodyTooLarge:
      return error(URLErrorCode::dataLengthExceedsMaximum, "The server's answer is too large.");
    case Ending::layeredCodings:
    case Ending::switchedProtocols: return answer;
    case Ending::wouldSendTwice: return connectionLost;
  }
  return std::nullopt;
}

std::optional<Verdict> verdictOfTrust(TrustResult trust) {
  switch (trust) {
    case TrustResult::notAsked:
    case TrustResult::accepted: return std::nullopt;
    case TrustResult::cancelled:
      return error(URLErrorCode::cancelled, "The server's certificate was refused.");
    case TrustResult::badDate:
      return error(URLErrorCode::serverCertificateHasBadDate,
                   "The server's certificate has expired or is not valid yet.");
    case TrustResult::untrusted:
      return error(URLErrorCode::serverCertificateUntrusted,
                   "The server's certificate is not trusted.");
    case TrustResult::noResources: return noResources;
  }
  return std::nullopt;
}

Verdict verdictOfCurl(int code, std::string_view text) {
  switch (code) {
    case CURLE_OK: return answer;
    // The scheme was examined before, so it is the answer's protocol that is not supported.
    case CURLE_UNSUPPORTED_PROTOCOL: return notHTTP;
    case CURLE_URL_MALFORMAT:
      return error(URLErrorCode::badURL, "The address could not be understood.");
    case CURLE_COULDNT_RESOLVE_HOST:
      return error(URLErrorCode::cannotFindHost, "The server's name could not be found.");
    case CURLE_COULDNT_CONNECT:
      return error(URLErrorCode::cannotConnectToHost, "The server could not be reached.");
    case CURLE_OPERATION_TIMEDOUT: return timedOut;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_ENGINE_INITFAILED:
    case CURLE_SSL_SHUTDOWN_FAILED: return secureConnectionFailed;
    case CURLE_PEER_FAILED_VERIFICATION: return *verdictOfTrust(TrustResult::untrusted);
    case CURLE_FILESIZE_EXCEEDED: return *verdictOfEnding(Ending::bodyTooLarge);
    // A server that refuses us after its side of the handshake says so while we read.
    case CURLE_RECV_ERROR:
      return text.find("alert") != std::string_view::npos ? secureConnectionFailed : connectionLost;
    case CURLE_OUT_OF_MEMORY:  // also a line that is longer than libcurl takes; since 8.6 that is:
    case curlTooLarge:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
    case CURLE_WRITE_ERROR: return badResponse;
    default: return connectionLost;
  }
}

}  // namespace

Verdict verdictOf(const TransferFacts& facts) {
  if (const auto verdict = verdictOfEnding(facts.ending)) return *verdict;
  if (const auto verdict = verdictOfTrust(facts.trust)) return *verdict;
  if (facts.curlCode == CURLE_OK && facts.isHeadForeign) return notHTTP;
  if (facts.curlCode == CURLE_OK && (!facts.isHeadComplete || facts.isCutOff)) {
    return connectionLost;
  }
  if (facts.curlCode != CURLE_OK && facts.isAlerted) return secureConnectionFailed;
  if (facts.curlCode == CURLE_COULDNT_CONNECT && facts.lacksDescriptors) return noResources;
  // The status counts, whatever became of the body.
  if (facts.curlCode == CURLE_BAD_CONTENT_ENCODING && facts.hasStatus) return answer;
  return verdictOfCurl(facts.curlCode, facts.curlText);
}

}  // namespace idlewyn::platform
