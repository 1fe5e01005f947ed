// SPDX-License-Identifier: MIT
#include "SandboxRelay.hpp"

#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <tools/relay-core/Endpoints.hpp>
#include <tools/relay-core/PairingLinkText.hpp>
#include "Control.hpp"
#include "SandboxService.hpp"
#include "Server.hpp"
#include "SteppedClock.hpp"

namespace idlewyn::sandbox {
namespace {

using relay::errorAnswer;

constexpr std::string_view controlPath = "sandbox/";

std::optional<ServerCertificate> certificateFor(const Options& options) {
  if (!options.tls) return std::nullopt;
  if (options.certificateFile.empty() != options.keyFile.empty()) {
    throw std::runtime_error("a certificate file and a key file belong together");
  }
  return options.certificateFile.empty()
             ? ServerCertificate::make(options.certificate)
             : ServerCertificate::read(options.certificateFile, options.keyFile);
}

std::function<Date()> baseClock(const Options& options) {
  if (options.manualClock) return [start = options.start] { return start; };
  return platform::DateClock::now;
}

// "/" on both ends, so that a prefix is only found as whole segments.
std::string normalizedPrefix(std::string_view prefix) {
  while (prefix.starts_with('/'))
    prefix.remove_prefix(1);
  while (prefix.ends_with('/'))
    prefix.remove_suffix(1);
  std::string normalized(1, '/');
  if (!prefix.empty()) normalized.append(prefix).append(1, '/');
  return normalized;
}

}  // namespace

struct SandboxRelay::Impl {
  Impl(const Options& given, SandboxRelay& relay)
      : options(given),
        prefix(normalizedPrefix(given.pathPrefix)),
        certificate(certificateFor(given)),
        clock(baseClock(given)),
        state([this] { return clock.now(); }),
        service(state, given.account),
        endpoints(service),
        control(relay, given.onStopRequest) {}

  void start() {
    server.emplace(options.host, options.port, certificate ? &*certificate : nullptr,
                   [this](const HTTPRequest& request, bool fromLoopback) {
                     return answer(request, fromLoopback);
                   });
  }

  PlannedAnswer answer(const HTTPRequest& request, bool fromLoopback);
  PlannedAnswer answerEndpoint(const HTTPRequest& request, std::string_view path,
                               std::string_view query);
  void replaceCertificate();

  const Options options;
  const std::string prefix;
  mutable std::mutex certificateMutex;
  std::optional<ServerCertificate> certificate;
  SteppedClock clock;
  RelayState state;
  FaultPlan plan;
  RequestLog log;
  SandboxService service;
  relay::Endpoints endpoints;
  Control control;
  /// Last, so that it has ended before anything that its threads use goes.
  std::optional<Server> server;
};

// What a proxy or a page in a browser sends on comes from this machine only in name.
static bool isForwarded(const HTTPRequest& request) {
  return request.header("X-Forwarded-For") || request.header("Forwarded") ||
         request.header("Origin");
}

PlannedAnswer SandboxRelay::Impl::answer(const HTTPRequest& request, bool fromLoopback) {
  std::string_view query;
  std::string_view path = request.target;
  if (const auto mark = path.find('?'); mark != std::string_view::npos) {
    query = path.substr(mark + 1);
    path = path.substr(0, mark);
  }
  // Control requests are understood with and without the prefix.
  const bool inside = path.starts_with(prefix);
  path.remove_prefix(inside ? prefix.size() : path.starts_with('/') ? 1 : 0);
  try {
    if (fromLoopback && !isForwarded(request) && path.starts_with(controlPath)) {
      return control.answer(request, path.substr(controlPath.size()));
    }
    log.add(request);
    if (!inside) return PlannedAnswer(errorAnswer(404, "outside the relay's path"));
    return answerEndpoint(request, path, query);
  } catch (const std::exception&) {
    return PlannedAnswer(errorAnswer(500, "the relay failed"));
  }
}

PlannedAnswer SandboxRelay::Impl::answerEndpoint(const HTTPRequest& request, std::string_view path,
                                                 std::string_view query) {
  std::vector<Fault> faults = plan.takeFaults(request.method, path);
  if (const auto asked = request.header("X-Sandbox-Fault")) {
    const auto own = Fault::parseList(*asked);
    if (!own) return PlannedAnswer(errorAnswer(400, "unknown fault"));
    faults.insert(faults.end(), own->begin(), own->end());
  }
  auto ready = plan.takeResponse(request.method, path);
  if (!ready) {
    endpoints.answer(request, path, query, std::string(),
                     [&](HTTPAnswer made) { ready = std::move(made); });
  }
  PlannedAnswer answer(*std::move(ready));
  for (const Fault& fault : faults) {
    if (fault.kind == Fault::Kind::otherCertificate) replaceCertificate();
  }
  answer.faults = std::move(faults);
  return answer;
}

void SandboxRelay::Impl::replaceCertificate() {
  if (!options.tls) return;
  ServerCertificate next = ServerCertificate::make(options.certificate);
  const std::lock_guard lock(certificateMutex);
  server->useCertificate(next);
  certificate = std::move(next);
}

SandboxRelay::SandboxRelay(const Options& options) : impl_(new Impl(options, *this)) {
  if (!options.pairingCode.empty()) impl_->state.addCode(options.pairingCode);
  impl_->start();
}

SandboxRelay::~SandboxRelay() { stop(); }

void SandboxRelay::stop() { impl_->server->stop(); }

URL SandboxRelay::address() const {
  const std::string& host = impl_->options.host;
  const bool bracketed = host.find(':') != std::string::npos;
  std::string text = impl_->options.tls ? "https://" : "http://";
  text.append(bracketed ? "[" : "").append(host).append(bracketed ? "]:" : ":");
  text.append(std::to_string(impl_->server->port())).append(impl_->prefix);
  text.pop_back();
  const auto url = URL::parse(text);
  if (!url) throw std::runtime_error("not an address: " + text);
  return *url;
}

std::string SandboxRelay::fingerprint() const {
  const std::lock_guard lock(impl_->certificateMutex);
  return impl_->certificate ? impl_->certificate->fingerprint : std::string();
}

std::string SandboxRelay::pairingCode() { return impl_->state.makeCode(); }

std::string SandboxRelay::pairingLink() { return pairingLink(pairingCode()); }

std::string SandboxRelay::pairingLink(const std::string& code) const {
  return relay::pairingLinkText(address().text(), code, fingerprint());
}

std::string SandboxRelay::issueToken(AgentProvider provider) {
  return impl_->state.issueToken(provider);
}

void SandboxRelay::advance(std::chrono::duration<double> step) { impl_->clock.advance(step); }

Date SandboxRelay::now() const { return impl_->clock.now(); }

void SandboxRelay::setFault(std::string endpoint, Fault fault, std::size_t count) {
  impl_->plan.add(std::move(endpoint), fault, count);
}

void SandboxRelay::respondWith(std::string endpoint, int status, std::string body,
                               std::vector<Header> headers) {
  impl_->plan.respond(std::move(endpoint), HTTPAnswer(status, std::move(body), std::move(headers)));
}

void SandboxRelay::clearFaults() { impl_->plan.clear(); }

void SandboxRelay::replaceCertificate() { impl_->replaceCertificate(); }

std::vector<RecordedRequest> SandboxRelay::requests() const { return impl_->log.all(); }

void SandboxRelay::clearRequests() { impl_->log.clear(); }

std::size_t SandboxRelay::connectionsAccepted() const { return impl_->server->accepted(); }

std::size_t SandboxRelay::connectionsOpen() const { return impl_->server->open(); }

RelayState& SandboxRelay::state() { return impl_->state; }

const RelayState& SandboxRelay::state() const { return impl_->state; }

}  // namespace idlewyn::sandbox
