// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <vector>

#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/platform/net/internal/Completion.hpp>
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>
#include <IdlewynKit/platform/net/internal/SecureConnection.hpp>
#include <IdlewynKit/platform/net/internal/StartGate.hpp>
#include <IdlewynKit/platform/net/internal/TrustCheck.hpp>
#include <IdlewynKit/platform/net/internal/Verdict.hpp>

namespace idlewyn::platform {

class SessionCore;

/// One exchange under way. Once submitted it belongs to the loop's thread.
class Transfer final : public IOLoop::Alarm, public std::enable_shared_from_this<Transfer> {
 public:
  enum class State { waiting, running, ended };
  using List = std::list<std::shared_ptr<Transfer>>;

  Transfer(std::shared_ptr<SessionCore> session, PreparedRequest prepared);
  ~Transfer() override;
  Transfer(const Transfer&) = delete;
  Transfer& operator=(const Transfer&) = delete;

  const std::shared_ptr<SessionCore>& session() const noexcept { return session_; }
  const std::string& origin() const noexcept { return prepared_.origin; }
  IOLoop::Clock::time_point deadline() const noexcept { return deadline_; }
  /// Begun later, its server would have too little time to answer.
  IOLoop::Clock::time_point latestStart() const noexcept { return latestStart_; }

  /// Makes the libcurl handle (CURL), ready to be run. False when memory is short.
  bool open() noexcept;
  /// The handle; null while the transfer waits for its turn.
  void* handle() const noexcept { return handle_; }

  bool isSecure() const noexcept { return prepared_.isSecure; }

  /// True after a run that ended, with nothing sent, because the server had closed the kept
  /// connection meanwhile, and of a GET after the server declared that it did not process the
  /// request: to be run again after `demandFreshConnection`. Each happens once.
  bool wantsFreshConnection(int curlCode) const;
  void demandFreshConnection();

  /// Frees the handle and sets the outcome; to be called once, when no multi handle runs it.
  /// `ending` none leaves the word to what was recorded during the transfer and to libcurl's
  /// result. Where there is no memory for an outcome, the outcome says so.
  void finish(Ending ending, int curlCode) noexcept;

  /// What a caller is told whose cancelling can't reach the loop; reads nothing of the loop's.
  URLSession::Outcome cancelled() const;

  /// The time is over. Where no byte has come since the request was sent, the connection is
  /// dead for all that anybody can tell, and later requests are not to wait on it.
  void spoilSilentConnection();

  /// The deadline has come.
  void ring() override;

  std::shared_ptr<Completion> completion;
  std::optional<URLSession::Outcome> outcome;
  /// This transfer, until its session's lists hold it: made where memory may be short.
  List node;
  /// Where its session's lists hold it, while it waits or runs.
  List::iterator place;
  State state = State::ended;
  /// Memory was short: the session is about to end it.
  bool isDoomed = false;
  /// It runs, as long as `StartGate` counts it.
  StartGate::Ticket ticket;
  /// It runs and has no connection yet.
  bool isUnconnected = false;

 private:
  struct Callbacks;
  void close();
  bool configure();
  URLSession::Outcome outcomeOf(Ending ending, int curlCode);
  bool isOverSpoiltConnection(int localPort) const;
  bool hasNewConnection();
  bool mayRepeat();
  void learnConnection(int localPort);
  void countSending();
  void forgetSending();
  bool wasUnprocessed() const;
  bool isCutOff();
  bool addFields();
  void chooseMethod();
  void expectBody();
  void configureTLS();

  std::shared_ptr<SessionCore> session_;
  PreparedRequest prepared_;
  IOLoop::Clock::time_point deadline_, latestStart_;
  URLError noResources_;  // while there is memory
  void* handle_ = nullptr;
  void* fields_ = nullptr;  // curl_slist
  ResponseReader reader_;
  std::shared_ptr<TrustCheck> trust_;
  // The one over which the request was sent last; null where that is plain.
  std::shared_ptr<SecureConnection> connection_;
  std::uint64_t receivedBefore_ = 0;  // by the connection, when the request was sent
  std::uint32_t stream_ = 0;          // 0 where there are none
  std::vector<int> openedSockets_;    // some may be closed by now
  int sendings_ = 0;
  long connects_ = 0;  // connections opened so far
  bool isConnectionNew_ = false;
  bool isConnectionStale_ = false;
  bool isRepeated_ = false;  // as the server had not processed it
  bool hasBody_ = false;
  bool lacksDescriptors_ = false;
  Ending ending_ = Ending::none;
  std::array<char, 256> errorText_{};
};

}  // namespace idlewyn::platform
