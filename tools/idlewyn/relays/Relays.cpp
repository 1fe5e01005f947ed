// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/Relays.hpp>

#include <algorithm>

#include <sys/epoll.h>

#include <IdlewynKit/push/PushGatewayClient.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/relays/CertificateProbe.hpp>
#include <tools/idlewyn/relays/RelaysLoop.hpp>

namespace idlewyn::command {
namespace {

namespace asio = boost::asio;

asio::awaitable<void> sleep(asio::steady_timer& timer) {
  boost::system::error_code woken;
  co_await timer.async_wait(asio::redirect_error(asio::use_awaitable, woken));
}

// Asio makes what it waits for non-blocking, and with it the terminal of the shell that started
// this program. So it waits for a set of our own, which can be read when the descriptor can.
asio::awaitable<void> untilReadable(int descriptor) {
  asio::posix::stream_descriptor set(co_await asio::this_coro::executor,
                                     epoll_create1(EPOLL_CLOEXEC));
  epoll_event readable{};
  readable.events = EPOLLIN;
  const bool isFile = epoll_ctl(set.native_handle(), EPOLL_CTL_ADD, descriptor, &readable) != 0;
  if (isFile) co_return;  // never to be waited for
  boost::system::error_code ended;
  co_await set.async_wait(asio::posix::descriptor_base::wait_read,
                          asio::redirect_error(asio::use_awaitable, ended));
}

bool isMismatch(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    return relayError == RelayError::certificateMismatch();
  } catch (...) {
    return false;
  }
}

// The same error, or one that tells which certificate was expected and which came.
std::exception_ptr explanation(const std::exception_ptr& error, const Connection& connection,
                               Relays& relays) {
  if (!isMismatch(error) || !connection.serverURL || !connection.certificatePin) return error;
  return std::make_exception_ptr(mismatchFailure(connection.provider, *connection.certificatePin,
                                                 fingerprintIfSeen(*connection.serverURL, relays)));
}

}  // namespace

Relays::Relays() : service_(RelayClient(URLSession::shared())) {}
Relays::~Relays() = default;

Relays::Loop& Relays::loop() {
  if (!loop_) loop_ = std::make_unique<Loop>();
  return *loop_;
}

void Relays::limit(std::chrono::milliseconds time) { loop().limit(time); }

template <class Call>
auto Relays::explained(const Connection& connection, Call call) {
  try {
    return loop().run(call());
  } catch (const RelayError&) {
    const auto error = std::current_exception();
    std::rethrow_exception(explanation(error, connection, *this));
  }
}

Connection Relays::pair(AgentProvider provider, const URL& address, const std::string& code,
                        const std::optional<std::string>& pin) {
  try {
    return loop().run(service_.pair(provider, address, code, pin));
  } catch (const RelayError& error) {
    if (!pin || error != RelayError::certificateMismatch()) throw;
    throw pairingMismatchFailure(provider, *pin, fingerprintIfSeen(address, *this));
  }
}

SnapshotResult Relays::snapshot(const std::vector<Connection>& connections,
                                const SessionSnapshot& fallback) {
  SnapshotResult result = loop().run(service_.snapshot(connections, fallback));
  if (loop().isLate) return result;  // what was cut off says nothing about certificates
  for (auto& [provider, error] : result.errors) {
    const auto connection = std::ranges::find(connections, provider, &Connection::provider);
    if (connection != connections.end()) error = explanation(error, *connection, *this);
  }
  return result;
}

void Relays::decide(PermissionDecision decision, const std::string& promptID,
                    const Connection& connection) {
  explained(connection, [&] { return service_.decide(decision, promptID, connection); });
}

bool Relays::remoteApprovals(const Connection& connection) {
  return explained(connection, [&] { return service_.remoteApprovals(connection); });
}

bool Relays::setRemoteApprovals(bool enabled, const Connection& connection) {
  return explained(connection, [&] { return service_.setRemoteApprovals(enabled, connection); });
}

void Relays::registerPushToken(const PushTokenRegistration& registration,
                               const Connection& connection) {
  explained(connection, [&] { return service_.registerPushToken(registration, connection); });
}

std::optional<std::string> Relays::pushKey(const std::string& token,
                                           const std::string& environment) {
  return loop().run(PushGatewayClient::shared().pushKey(token, environment));
}

void Relays::unpair(const Connection& connection) {
  explained(connection, [&] { return service_.unpair(connection); });
}

platform::HTTPResponse Relays::send(const std::shared_ptr<URLSession>& session,
                                    const platform::URLRequest& request) {
  return loop().run(session->data(request));
}

void Relays::pause(std::chrono::duration<double> time) {
  Loop& loop = this->loop();
  // Handlers of signals and inputs run first; they may have asked for the next round already.
  loop.context.restart();
  loop.context.poll();
  if (!std::exchange(loop.isWoken, false)) {
    loop.sleeper.expires_after(std::chrono::duration_cast<asio::steady_timer::duration>(time));
    loop.run(sleep(loop.sleeper));
    loop.isWoken = false;
  }
}

void Relays::wake() {
  loop().isWoken = true;
  loop().sleeper.cancel();
}

void Relays::waitForInput(int descriptor) { loop().run(untilReadable(descriptor)); }

void Relays::onSignals(const std::vector<int>& signals, std::function<void(int)> handle) {
  Loop::Signals& added = loop().moreSignals.emplace_back(loop().context, std::move(handle));
  for (const int signal : signals)
    added.set.add(signal);
  added.listen();
}

void Relays::onInput(int descriptor, std::function<void()> handle) {
  loop().inputs.emplace_back(loop().context, descriptor, std::move(handle)).listen();
}

}  // namespace idlewyn::command
