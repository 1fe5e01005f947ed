// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tools/idlewyn/relays/Relays.hpp>
#include <tools/idlewyn/system/FileDescriptor.hpp>

namespace idlewyn::command {

/// The next line, without spaces around it; what follows it stays for others to read. Nothing at
/// the end of the input. Signals end the waiting, as with every call of `relays`.
std::optional<std::string> readLine(int descriptor, Relays& relays);

/// The terminal that the user sits at, wherever standard input and output go.
class Terminal {
 public:
  /// Nothing for a program that runs without one.
  static std::optional<Terminal> open();

  void show(std::string_view lines);
  /// The answer, as `readLine` gives it.
  std::optional<std::string> ask(std::string_view question, Relays& relays);

 private:
  explicit Terminal(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

  FileDescriptor descriptor_;
};

/// Shows the fingerprint that a relay's certificate has and asks whether it is the right one:
/// yes, no, or the fingerprint that the relay itself shows, for this program to compare. Throws a
/// Failure unless it is.
void confirmFingerprint(Terminal& terminal, const std::string& seen, Relays& relays);

}  // namespace idlewyn::command
