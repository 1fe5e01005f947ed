// SPDX-License-Identifier: MIT
#include <cerrno>
#include <csignal>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <IdlewynKit/model/JSONCoding.hpp>

#include <tools/relay-core/QRCode.hpp>
#include "Control.hpp"
#include "SandboxRelay.hpp"
#include "WireRecords.hpp"

namespace {

using namespace idlewyn::sandbox;

struct Arguments {
  Options options;
  std::vector<std::string> faults;
  std::string sessionsFile;
  bool qr = false;
  bool untilStdinCloses = false;
};

void declare(CLI::App& app, Arguments& arguments) {
  Options& options = arguments.options;
  const std::map<std::string, KeyType> keys{{"ecdsa", KeyType::ecdsa}, {"rsa", KeyType::rsa}};
  app.add_flag("--tls,!--http", options.tls, "https (the default), or plain http");
  app.add_option("--key", options.certificate.key, "Key of the made certificate: ecdsa or rsa")
      ->transform(CLI::CheckedTransformer(keys));
  auto* certificate = app.add_option("--certificate", options.certificateFile,
                                     "PEM file to use instead of a made certificate");
  auto* key = app.add_option("--private-key", options.keyFile, "PEM file of its private key");
  certificate->needs(key)->check(CLI::ExistingFile);
  key->needs(certificate)->check(CLI::ExistingFile);
  app.add_option("--host", options.host, "Address to listen on")->capture_default_str();
  app.add_option("--port", options.port, "Port; 0 lets the kernel choose")->capture_default_str();
  app.add_option("--prefix", options.pathPrefix, "Path prefix, as behind a reverse proxy");
  app.add_option("--account", options.account, "Account name told on pairing")
      ->capture_default_str();
  app.add_option("--code", options.pairingCode, "First pairing code instead of a random one");
  app.add_option("--fault", arguments.faults,
                 "ENDPOINT=FAULT, say v1/sessions=status=503 or '*=delay=0.5'; may be repeated");
  app.add_option("--state", arguments.sessionsFile,
                 R"(JSON file {"sessions":[...]} to show instead of the moving sessions)")
      ->check(CLI::ExistingFile);
  app.add_flag("--manual-clock", options.manualClock,
               "Time stands still except for POST /sandbox/clock");
  app.add_flag("--qr", arguments.qr, "Show the pairing link as a QR code on standard error");
  app.add_flag("--until-stdin-closes", arguments.untilStdinCloses,
               "End when standard input closes");
  app.footer(
      R"(A pairing code serves once for each agent, for five minutes. The next one comes from
curl -sk -X POST ADDRESS/sandbox/code

Faults: status=503, delay=0.5, stall, stall-mid-body, close-mid-body, close, wrong-length,
not-json, not-http, other-certificate; several between commas. A request can bring its own in the
header X-Sandbox-Fault.

Control requests, from this machine only: GET or POST /sandbox/clock {"advance":30}; POST or
DELETE /sandbox/faults {"endpoint":"v1/sessions","fault":"stall","count":1}; GET or DELETE
/sandbox/requests; POST or DELETE /sandbox/sessions; POST /sandbox/certificate, /sandbox/code,
/sandbox/stop; GET /sandbox/push-tokens.)");
}

void prepare(SandboxRelay& relay, const Arguments& arguments) {
  for (const std::string& rule : arguments.faults) {
    const auto equals = rule.find('=');
    const auto faults = equals == std::string::npos
                            ? std::nullopt
                            : Fault::parseList(std::string_view(rule).substr(equals + 1));
    if (!faults) throw std::runtime_error("not a fault: " + rule);
    for (const Fault& fault : *faults)
      relay.setFault(rule.substr(0, equals), fault);
  }
  if (!arguments.sessionsFile.empty()) {
    std::ifstream file(arguments.sessionsFile, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    relay.setSessions(
        idlewyn::JSONDecoder::relay().decode<wire::Sessions>(std::string_view(text)).sessions);
  }
}

// Blocked before any thread exists, so that the signals end up in the descriptor.
int endingSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return signalfd(-1, &set, SFD_CLOEXEC);
}

void waitForEnd(int signals, bool untilStdinCloses) {
  std::array<pollfd, 2> entries{{{signals, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
  const nfds_t count = untilStdinCloses ? 2 : 1;
  std::array<char, 4096> ignored;
  while (true) {
    if (poll(entries.data(), count, -1) < 0 && errno != EINTR) return;
    if (entries[0].revents != 0) return;
    if (entries[1].revents != 0 && read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) return;
  }
}

// A closed standard descriptor would be given to the next socket.
void openStandardDescriptors() {
  int opened = 0;
  while (opened >= 0 && opened <= STDERR_FILENO)
    opened = open("/dev/null", O_RDWR);
  if (opened > STDERR_FILENO) close(opened);
}

// A connection is a descriptor; the usual limit is below what the server admits.
void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

int run(Arguments arguments) {
  const int signals = endingSignals();
  raiseDescriptorLimit();
  arguments.options.onStopRequest = [] { kill(getpid(), SIGTERM); };
  SandboxRelay relay(arguments.options);
  prepare(relay, arguments);
  const std::string code =
      arguments.options.pairingCode.empty() ? relay.pairingCode() : arguments.options.pairingCode;
  std::cout << describePairing(relay, code) << std::endl;
  if (!std::cout) throw std::runtime_error("standard output can't be written");
  if (arguments.qr) std::cerr << idlewyn::relay::qrCode(relay.pairingLink(code));
  waitForEnd(signals, arguments.untilStdinCloses);
  relay.stop();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("A relay for trying things out: invented sessions, real sockets and TLS");
  Arguments arguments;
  declare(app, arguments);
  openStandardDescriptors();
  try {
    app.parse(argc, argv);
    return run(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : 2;
  } catch (const std::exception& error) {
    std::cerr << "idlewyn-sandbox-relay: " << error.what() << '\n';
    return 1;
  }
}
