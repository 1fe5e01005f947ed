// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <list>
#include <memory>
#include <vector>

#include <IdlewynKit/platform/net/URLSession.hpp>
#include <IdlewynKit/platform/net/internal/Completion.hpp>
#include <IdlewynKit/platform/net/internal/IOLoop.hpp>
#include <IdlewynKit/platform/net/internal/PreparedRequest.hpp>
#include <IdlewynKit/platform/net/internal/ResponseReader.hpp>
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

  /// Makes the libcurl handle (CURL), ready to be run. False when memory is short.
  bool open();
  /// The handle; null while the transfer waits for its turn.
  void* handle() const noexcept { return handle_; }

  /// True after a run that ended, with nothing sent, because the server had closed the kept
  /// connection meanwhile: to be run again after `demandFreshConnection`, which is once.
  bool wantsFreshConnection() const noexcept { return isConnectionStale_; }
  void demandFreshConnection();

  /// Frees the handle and gives the outcome; to be called once, when no multi handle runs it.
  /// `ending` none leaves the word to what was recorded during the transfer and to libcurl's
  /// result.
  URLSession::Outcome finish(Ending ending, int curlCode);

  /// What a caller is told whose cancelling can't reach the loop; reads nothing of the loop's.
  URLSession::Outcome cancelled() const;

  /// The deadline has come.
  void ring() override;

  std::shared_ptr<Completion> completion;
  /// Where its session's lists hold it, while it waits or runs.
  List::iterator place;
  State state = State::ended;

 private:
  struct Callbacks;
  void close();
  bool isOverSpoiltConnection(int localPort);
  bool addFields();
  void chooseMethod();
  void expectBody();
  void configureTLS();

  std::shared_ptr<SessionCore> session_;
  PreparedRequest prepared_;
  IOLoop::Clock::time_point deadline_;
  void* handle_ = nullptr;
  void* fields_ = nullptr;  // curl_slist
  ResponseReader reader_;
  std::shared_ptr<TrustCheck> trust_;
  std::vector<int> openedSockets_;  // some may be closed by now
  int sendings_ = 0;
  bool isConnectionStale_ = false;
  bool hasBody_ = false;
  Ending ending_ = Ending::none;
  std::array<char, 256> errorText_{};
};

}  // namespace idlewyn::platform
