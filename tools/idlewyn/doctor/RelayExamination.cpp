// SPDX-License-Identifier: MIT
#include <array>
#include <ctime>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

#include <tools/idlewyn/doctor/Doctor.hpp>
#include <tools/idlewyn/relays/CertificateDates.hpp>
#include <tools/idlewyn/relays/CertificateProbe.hpp>

namespace idlewyn::command {
namespace {

using platform::URLError;

std::string joined(const std::vector<std::string>& texts) {
  std::string text;
  for (const std::string& one : texts)
    text += (text.empty() ? "" : ", ") + one;
  return text;
}

std::string dayOf(Date date) {
  const std::time_t seconds = static_cast<std::time_t>(platform::secondsSince1970(date));
  std::tm day{};
  gmtime_r(&seconds, &day);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d", &day);
  return text.data();
}

// The same host and port under another scheme.
std::optional<URL> underScheme(const std::string& scheme, const URL& address, int port) {
  std::string host(*address.host());
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  return URL::parse(scheme + "://" + host + ":" + std::to_string(port) + "/");
}

std::string adviceFor(const Reach& reached) {
  if (reached.isRefused) {
    return "The machine is there, but nothing listens at this port: look whether the relay runs, "
           "and at which port.";
  }
  if (reached.isLate) {
    return "Nobody answers: look whether the machine is on, and whether a firewall or a VPN that "
           "is off stands between.";
  }
  return "Look whether there is a way to that machine, and whether a firewall lets this port "
         "through.";
}

constexpr int tooManyRequests = 429;

// Of an answer that is none of a relay's.
std::string adviceForStatus(std::int64_t status) {
  switch (status) {
    case tooManyRequests: return "Nothing is broken: wait a minute, then try again.";
    case 404:
      return "Something answers and does not know this path: look at the path of the address, and "
             "at what a web server before the relay makes of it.";
    case 502:
    case 504:
      return "A proxy answers and does not reach the relay behind it: look whether the relay runs, "
             "and where the proxy looks for it.";
    default: break;
  }
  if (status < 500) return "Something else may answer; look at host, port and path of the address.";
  return "The relay, or a proxy before it, is up and says that it can't answer now: try again "
         "later, and look at its log.";
}

std::string adviceFor(const URLError& error) {
  switch (error.code) {
    case platform::URLErrorCode::timedOut:
      return "It takes connections and stays silent: look whether the relay hangs or has too much "
             "to do.";
    case platform::URLErrorCode::networkConnectionLost:
      return "It takes the connection and ends it without an answer: look at the relay's log, and "
             "at a proxy or firewall between.";
    case platform::URLErrorCode::cannotConnectToHost:
      return "A moment ago it took connections: look whether the relay ends or restarts.";
    default: return "Look at the relay, and at what stands between.";
  }
}

class Examination {
 public:
  Examination(const URL& address, const std::optional<Connection>& connection, Relays& relays)
      : address_(address), connection_(connection), relays_(relays) {}

  // Each step goes on with the next unless it failed.
  RelayExamination run() {
    if (place() && reach() && (isTLS_ ? certificate() : plain())) answer();
    return std::move(result_);
  }

 private:
  bool place();
  bool reach();
  bool certificate();
  bool plain();
  bool dates(const Certificate& certificate);
  bool pin(const std::string& seen);
  bool answer();
  bool noAnswer(const std::exception_ptr& error);
  bool answerWithoutToken();
  bool noCertificate(const URLError& error);
  bool speaksPlainHTTP();

  bool pass(const char* name, std::string message) {
    result_.checks.emplace_back(name, CheckState::ok, std::move(message));
    return true;
  }
  bool warn(const char* name, std::string message, std::string advice) {
    result_.checks.emplace_back(name, CheckState::warning, std::move(message), std::move(advice));
    return true;
  }
  bool fail(const char* name, ExitCode code, std::string message, std::string advice) {
    result_.checks.emplace_back(name, CheckState::failed, std::move(message), std::move(advice));
    result_.code = code;
    return false;
  }

  const URL& address_;
  const std::optional<Connection>& connection_;
  Relays& relays_;
  bool isTLS_ = false;
  int port_ = 0;
  std::string seen_;
  RelayExamination result_;
};

bool Examination::place() {
  const std::string shown = displayLine(address_.withoutUserInfo().text());
  const std::string scheme = address_.lowercasedScheme();
  isTLS_ = scheme == "https";
  if ((!isTLS_ && scheme != "http") || address_.host().value_or("").empty()) {
    return fail("address", ExitCode::failure, shown + " is no address of a relay.",
                "It must begin with https:// or http:// and name a host; pair again.");
  }
  const std::string port(address_.port().value_or(""));
  port_ = port.empty() ? (isTLS_ ? 443 : 80) : std::atoi(port.c_str());
  if (isTLS_) return pass("address", shown);
  return warn("address", shown,
              "Over http nothing is encrypted: use https, or http inside a VPN only.");
}

bool Examination::reach() {
  const std::string host(*address_.host());
  const Reach reached = relays_.reach(host, std::to_string(port_));
  if (reached.addresses.empty()) {
    return fail("name", ExitCode::network,
                displayLine(host) + " has no address: " + displayLine(reached.error) + ".",
                reached.isLate ? "No name server answers: look at this machine's network."
                               : "Look for a typing error; a name of a VPN or a home network is "
                                 "known only there.");
  }
  pass("name", displayLine(host) + " is " + joined(reached.addresses) + ".");
  if (!reached.connected) {
    return fail("tcp", ExitCode::network,
                "Nothing takes connections at port " + std::to_string(port_) + ": " +
                    displayLine(reached.error) + ".",
                adviceFor(reached));
  }
  return pass("tcp",
              *reached.connected + " takes connections at port " + std::to_string(port_) + ".");
}

bool Examination::certificate() {
  try {
    const Certificate certificate = probeCertificate(address_, relays_);
    seen_ = CertificatePin::fingerprint(certificate);
    pass("tls", "The fingerprint of the certificate is " + seen_ + ".");
    return dates(certificate) && pin(seen_);
  } catch (const URLError& error) {
    return noCertificate(error);
  }
}

bool Examination::noCertificate(const URLError& error) {
  if (speaksPlainHTTP()) {
    return fail("tls", ExitCode::network, "This port speaks http without encryption.",
                "Use the relay's port for https, or if it has none an address that begins with "
                "http://.");
  }
  return fail("tls", ExitCode::network, displayLine(error.reason),
              "The port takes connections, but TLS does not come about: something else may "
              "listen there.");
}

// Asks for the root, without a token.
bool Examination::speaksPlainHTTP() {
  const auto url = underScheme("http", address_, port_);
  if (!url) return false;
  platform::URLRequest request(*url);
  request.timeoutInterval = std::chrono::seconds(5);
  try {
    return relays_.send(URLSession::ephemeral(), request).isHTTP();
  } catch (const URLError&) {
    return false;
  }
}

bool Examination::plain() {
  const auto url = underScheme("https", address_, port_);
  if (!url || !fingerprintIfSeen(*url, relays_)) return true;
  return fail("tls", ExitCode::network, "This port speaks TLS.",
              connection_ ? "Pair again, with an address that begins with https://."
                          : "Use an address that begins with https://.");
}

// A pinned certificate is accepted whatever its dates are; but what renews it changes the pin.
bool Examination::dates(const Certificate& certificate) {
  constexpr auto soon = std::chrono::hours(24 * 30);
  const auto validity = validityOf(certificate.der);
  if (!validity) return true;
  const auto [from, until] = *validity;
  const Date now = DateClock::now();
  const std::string span = "valid from " + dayOf(from) + " until " + dayOf(until) + ".";
  if (now >= from && now + soon < until) return pass("dates", "It is " + span);
  if (now < from) {
    return warn("dates", "It is " + span,
                "It is not valid yet, which a pinned connection does not mind: look whether the "
                "clocks of this machine and of the relay are right.");
  }
  return warn("dates", "It is " + span,
              now > until ? "It has run out, which a pinned connection does not mind; its renewal "
                            "will change the fingerprint."
                          : "When it is renewed, the fingerprint changes: have the new one at hand "
                            "for idlewyn pin replace.");
}

bool Examination::pin(const std::string& seen) {
  if (!connection_) return true;
  if (!connection_->certificatePin) {
    return fail("pin", ExitCode::failure, "No certificate is pinned.", "Pair again.");
  }
  if (*connection_->certificatePin == seen) return pass("pin", "It is the pinned certificate.");
  const std::string agent(rawValue(connection_->provider));
  return fail("pin", ExitCode::certificateMismatch,
              "Pinned is another one: " + *connection_->certificatePin + ".",
              "If the certificate was renewed, read its fingerprint on the relay itself: idlewyn "
              "pin replace --agent " +
                  agent +
                  ". If the relay was set up anew: idlewyn pair - "
                  "--agent " +
                  agent + ". Otherwise trust nothing that answers there.");
}

bool Examination::answer() {
  if (!connection_) return answerWithoutToken();
  try {
    relays_.remoteApprovals(*connection_);
  } catch (const std::exception&) {
    return noAnswer(std::current_exception());
  }
  pass("answer", "The relay answers.");
  return pass("token", "It knows this machine's token.");
}

bool Examination::noAnswer(const std::exception_ptr& error) {
  const Failure failure = describe(error);
  const auto failed = [&](const std::string& message, std::string advice) {
    return fail("answer", failure.code, message, std::move(advice));
  };
  try {
    std::rethrow_exception(error);
  } catch (const RelayError& relayError) {
    switch (relayError.kind()) {
      case RelayError::Kind::unauthorized:
        pass("answer", "The relay answers.");
        return fail("token", failure.code, failure.message,
                    "Its token was withdrawn or the relay was set up anew: pair again. A proxy "
                    "that wants a password of its own looks the same.");
      case RelayError::Kind::server:
        return failed(failure.message, adviceForStatus(relayError.status()));
      case RelayError::Kind::tooManyAttempts:
        return failed("It was asked too often (status 429).", adviceForStatus(tooManyRequests));
      default: break;
    }
  } catch (const URLError& urlError) {
    return failed(failure.message, adviceFor(urlError));
  } catch (const std::exception&) {
    if (failure.code == ExitCode::interrupted) throw;
  }
  return failed(failure.message,
                "Something else may answer at this address; look at its host, port and path.");
}

// A relay refuses who has no token. The certificate that was seen is enough to ask that.
bool Examination::answerWithoutToken() {
  platform::URLRequest request(address_.appendingPath("v1/sessions"));
  request.timeoutInterval = std::chrono::seconds(10);
  const auto session = isTLS_ ? CertificatePin::session(seen_) : URLSession::shared();
  try {
    const int status = relays_.send(session, request).statusCode;
    if (status == 401 || status == 403) return pass("answer", "A relay answers; it can be paired.");
    const bool isBusy = status == tooManyRequests || status >= 500;
    return fail("answer",
                status == tooManyRequests ? ExitCode::tooManyAttempts : ExitCode::serverStatus,
                (isBusy ? "It answers with status " : "What answers is no relay; its status is ") +
                    std::to_string(status) + ".",
                adviceForStatus(status));
  } catch (const URLError& error) {
    return fail("answer", ExitCode::network, displayLine(error.reason), adviceFor(error));
  }
}

}  // namespace

RelayExamination examineRelay(const URL& address, const std::optional<Connection>& connection,
                              Relays& relays) {
  RelayExamination result = Examination(address, connection, relays).run();
  for (Check& check : result.checks) {
    if (connection) check.agent = connection->provider;
  }
  return result;
}

}  // namespace idlewyn::command
