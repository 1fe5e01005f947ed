// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>
#include <variant>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/net/AuthenticationChallenge.hpp>
#include <IdlewynKit/platform/net/HTTPResponse.hpp>
#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/net/URLRequest.hpp>
#include <IdlewynKit/platform/tasks/Awaitable.hpp>

/// HTTP and HTTPS exchanges over pooled connections.
///
///     auto session = URLSession::shared();
///     HTTPResponse response = co_await session->data(request);   // throws URLError
namespace idlewyn::platform {

class SessionCore;

/// Decides about the servers of a session.
class IDLEWYNKIT_EXPORT URLSessionDelegate {
 public:
  virtual ~URLSessionDelegate() = default;

  /// Called on the session's I/O thread, once in the handshake of each new connection; a kept
  /// connection raises no challenge. Must return at once and must not throw: an exception
  /// counts as cancelling the challenge. An exchange may be begun in here, on another
  /// executor, but never waited for: every exchange of the process needs this thread to go on.
  /// `trust` is present for `serverTrust`.
  virtual ChallengeAnswer didReceive(AuthenticationMethod method,
                                     const std::optional<ServerTrust>& trust) = 0;
};

/// A pool of connections with one idea of which servers to trust. Sessions share nothing: a
/// connection or TLS session of one is never used by another. Copies of the shared pointer are
/// the session's owners; all members may be called from any thread.
class URLSession : public std::enable_shared_from_this<URLSession> {
 public:
  /// The process-wide session without a delegate. It can't be invalidated.
  IDLEWYNKIT_EXPORT static std::shared_ptr<URLSession> shared();

  /// A new session that keeps nothing on disk. With a delegate each server-trust challenge is
  /// its to decide; without one, and under default handling, the chain must lead to one of the
  /// system's authorities, be in date and name the host.
  IDLEWYNKIT_EXPORT static std::shared_ptr<URLSession> ephemeral(
      std::shared_ptr<URLSessionDelegate> delegate = nullptr);

  /// The same for the life of the process: it can't be invalidated.
  IDLEWYNKIT_EXPORT static std::shared_ptr<URLSession> lasting(
      std::shared_ptr<URLSessionDelegate> delegate = nullptr);

  /// Whether new connections of any session write their keys to the file that the environment
  /// variable SSLKEYLOGFILE named when the first exchange began, so that captured traffic can be
  /// read. Off until a program asks for it, whatever the environment says.
  IDLEWYNKIT_EXPORT static void setKeyLogging(bool isAllowed) noexcept;

  URLSession(const URLSession&) = delete;
  URLSession& operator=(const URLSession&) = delete;
  IDLEWYNKIT_EXPORT ~URLSession();

  /// One exchange, begun when the awaitable is awaited, which may outlive the session's other
  /// owners. Any status is an answer, 3xx included; what answers without HTTP gives a response
  /// with `isHTTP()` false. Throws URLError. Cancelling the awaiting coroutine by any type of
  /// cancellation that reaches it ends the transfer at once with `cancelled`, and a coroutine
  /// that is cancelled already sends nothing; its cancellation state is left as it was. The
  /// coroutine's executor may be gone before the end: the transfer is given up then. In a forked
  /// child of a process that has begun an exchange, and once the process exits, every exchange
  /// ends as `cancelled`.
  IDLEWYNKIT_EXPORT boost::asio::awaitable<HTTPResponse> data(URLRequest request);

  /// The same without exceptions: the answer or the error as a value.
  using Outcome = std::variant<HTTPResponse, URLError>;
  IDLEWYNKIT_EXPORT boost::asio::awaitable<Outcome> exchange(URLRequest request);

  /// Lets the transfers in flight end as they will, refuses new ones with `cancelled`, then
  /// lets go of the delegate and closes the connections. Does nothing to a session that lasts.
  IDLEWYNKIT_EXPORT void finishTasksAndInvalidate();

 private:
  URLSession(std::shared_ptr<SessionCore> core, bool isLasting);
  std::shared_ptr<SessionCore> core_;
  const bool isLasting_;
};

}  // namespace idlewyn::platform
