// SPDX-License-Identifier: MIT
#include <tools/idlewyn/relays/Confirmation.hpp>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <IdlewynKit/platform/text/Unicode.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>

namespace idlewyn::command {
namespace {

Failure refusal(std::string reason) {
  return {ExitCode::failure, "notConfirmed",
          std::move(reason) + " Nothing was paired, and the code was not used."};
}

// True for yes; nothing when the answer makes no sense, which the terminal then says.
std::optional<bool> decide(const std::string& answer, const std::string& seen, Terminal& terminal) {
  if (answer == "yes") return true;
  if (answer == "no" || answer == "n") return false;
  if (answer.empty() || answer == "y") {
    terminal.show("Please answer yes, no, or paste the fingerprint.\n");
    return std::nullopt;
  }
  try {
    if (parseFingerprint(answer) == seen) return true;
  } catch (const Failure& failure) {
    terminal.show(failure.message + "\n");
    return std::nullopt;
  }
  Failure failure = refusal("The relay shows another certificate than that fingerprint's.");
  failure.code = ExitCode::certificateMismatch;
  failure.kind = "certificateMismatch";
  failure.expectedFingerprint = parseFingerprint(answer);
  failure.seenFingerprint = seen;
  throw failure;
}

}  // namespace

std::optional<std::string> readLine(int descriptor, Relays& relays) {
  std::string line;
  char next = 0;
  while (true) {
    relays.waitForInput(descriptor);
    const ssize_t count = read(descriptor, &next, 1);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (count <= 0 && line.empty()) return std::nullopt;
    if (count <= 0 || next == '\n') break;
    line += next;
  }
  if (line.ends_with('\r')) line.pop_back();
  return std::string(platform::trimmingSpaces(line));
}

std::optional<Terminal> Terminal::open() {
  FileDescriptor descriptor(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
  if (descriptor.get() < 0) return std::nullopt;
  return Terminal(std::move(descriptor));
}

void Terminal::show(std::string_view lines) {
  while (!lines.empty()) {
    const ssize_t written = write(descriptor_.get(), lines.data(), lines.size());
    if (written <= 0 && errno != EINTR && errno != EAGAIN) return;
    if (written > 0) lines.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::optional<std::string> Terminal::ask(std::string_view question, Relays& relays) {
  show(question);
  return readLine(descriptor_.get(), relays);
}

void confirmFingerprint(Terminal& terminal, const std::string& seen, Relays& relays) {
  std::string text = "The relay's certificate is new here. Its fingerprint is\n";
  for (const std::string& line : fingerprintLines(seen))
    text += "  " + line + "\n";
  terminal.show(text + "Compare it with the one that the relay itself shows.\n");
  for (int attempt = 0; attempt < 5; ++attempt) {
    const auto answer = terminal.ask("Trust it? yes, no, or paste the fingerprint: ", relays);
    if (!answer) break;
    const auto decision = decide(*answer, seen, terminal);
    if (decision == true) return;
    if (decision == false) throw refusal("The certificate was not trusted.");
  }
  throw refusal("The question was not answered.");
}

}  // namespace idlewyn::command
