// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/CertificateProbe.hpp>

#include <mutex>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/relays/Fingerprint.hpp>

namespace idlewyn::command {
namespace {

// Looks at the certificate and goes no further.
class LookingDelegate final : public platform::URLSessionDelegate {
 public:
  platform::ChallengeAnswer didReceive(platform::AuthenticationMethod,
                                       const std::optional<platform::ServerTrust>& trust) override {
    if (trust && !trust->certificateChain.empty()) {
      const std::lock_guard lock(mutex_);
      seen_ = trust->certificateChain.front();
    }
    return {platform::ChallengeDisposition::cancelAuthenticationChallenge, std::nullopt};
  }

  std::optional<Certificate> seen() const {
    const std::lock_guard lock(mutex_);
    return seen_;
  }

 private:
  mutable std::mutex mutex_;
  std::optional<Certificate> seen_;  // guarded by mutex_; the I/O thread writes
};

void append(std::vector<std::string>& lines, const std::string& name,
            const std::string& fingerprint) {
  std::string margin = "  " + name;
  for (const std::string& line : fingerprintLines(fingerprint)) {
    lines.push_back(margin + line);
    margin.assign(margin.size(), ' ');
  }
}

struct Mismatch {
  // How the fingerprint that was expected is called.
  std::string name;
  std::string expected;
  std::optional<std::string> seen;
};

Failure failureOf(const Mismatch& mismatch, std::string message,
                  const std::vector<std::string>& advice) {
  Failure failure(ExitCode::certificateMismatch, "certificateMismatch", std::move(message));
  failure.expectedFingerprint = mismatch.expected;
  failure.seenFingerprint = mismatch.seen;
  append(failure.details, mismatch.name, mismatch.expected);
  if (mismatch.seen == mismatch.expected) {
    failure.details.emplace_back("  Just now it showed this one after all; try once more.");
    return failure;
  }
  if (mismatch.seen) append(failure.details, "seen    ", *mismatch.seen);
  failure.details.emplace_back(
      "  Unless you expected this, somebody else may be answering in the relay's place.");
  failure.details.insert(failure.details.end(), advice.begin(), advice.end());
  return failure;
}

}  // namespace

Certificate probeCertificate(const URL& address, Relays& relays) {
  const auto delegate = std::make_shared<LookingDelegate>();
  platform::URLRequest request(address);
  request.timeoutInterval = std::chrono::seconds(10);
  try {
    relays.send(URLSession::ephemeral(delegate), request);
  } catch (const platform::URLError&) {
    if (auto seen = delegate->seen()) return *std::move(seen);
    throw;
  }
  throw Failure(ExitCode::network, "network", "The server shows no certificate.");
}

std::optional<std::string> fingerprintIfSeen(const URL& address, Relays& relays) {
  try {
    return CertificatePin::fingerprint(probeCertificate(address, relays));
  } catch (const platform::URLError&) {
    return std::nullopt;
  }
}

Failure mismatchFailure(AgentProvider agent, const std::string& pinned,
                        const std::optional<std::string>& seen) {
  const std::string name(rawValue(agent));
  return failureOf(
      {"pinned  ", pinned, seen}, RelayError::certificateMismatch().errorDescription(),
      {"  If its certificate was renewed, read the new fingerprint on the relay itself and give it",
       "  to:  idlewyn pin replace --agent " + name,
       "  If the relay was set up anew, pair again with the link that it shows:",
       "       idlewyn pair - --agent " + name});
}

Failure pairingMismatchFailure(AgentProvider agent, const std::string& wanted,
                               const std::optional<std::string>& seen) {
  return failureOf(
      {"wanted  ", wanted, seen},
      "The relay does not show the certificate that was asked for. Nothing was paired, and the "
      "code was not used.",
      {"  Read the fingerprint on the relay itself and give that one with --pin, or take the link",
       "  that it shows now:  idlewyn pair - --agent " + std::string(rawValue(agent))});
}

}  // namespace idlewyn::command
