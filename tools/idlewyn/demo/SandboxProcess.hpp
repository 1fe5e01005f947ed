// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>

#include <IdlewynKit/platform/base/Record.hpp>
#include <IdlewynKit/platform/base/URL.hpp>

#include <tools/idlewyn/relays/Relays.hpp>
#include <tools/idlewyn/system/FileDescriptor.hpp>

namespace idlewyn::command {

/// What a sandbox relay tells about itself, first and with each new code.
struct SandboxPairing {
  explicit SandboxPairing(platform::DecodingKey key) : address(key) {}

  static constexpr auto fields() {
    using platform::field;
    using P = SandboxPairing;
    return std::tuple{field("address", &P::address), field("fingerprint", &P::fingerprint),
                      field("pairingCode", &P::pairingCode), field("pairingLink", &P::pairingLink)};
  }

  URL address;
  std::string fingerprint;
  std::string pairingCode;
  std::string pairingLink;
};

/// A sandbox relay as a child process: TLS on the loopback interface, a clock that stands still
/// unless it is stepped. It ends with this object, and when this process dies.
class SandboxProcess {
 public:
  /// Named by IDLEWYN_SANDBOX_RELAY, or beside this program as it is built or installed. Throws
  /// a Failure when there is none.
  static std::filesystem::path findProgram();

  /// Returns when it listens. Throws a Failure.
  SandboxProcess(const std::filesystem::path& program, Relays& relays);
  ~SandboxProcess() { stop(); }
  SandboxProcess(const SandboxProcess&) = delete;
  SandboxProcess& operator=(const SandboxProcess&) = delete;

  const SandboxPairing& pairing() const noexcept { return *pairing_; }

  /// Steps its clock, and gives what that shows then.
  Date advance(double seconds);
  /// For new connections; the old ones are closed.
  void replaceCertificate();
  /// A code, and so a link, that was not used yet, with the present fingerprint.
  void renewPairing();

  /// Ends the process and waits until it is gone.
  void stop() noexcept;

 private:
  void start(const std::filesystem::path& program);
  std::string readFirstLine();
  std::string control(std::string_view path, std::string body);

  Relays& relays_;
  /// Accepts any certificate: the relay's own child of this process, on loopback.
  const std::shared_ptr<URLSession> session_;
  FileDescriptor input_;
  FileDescriptor output_;
  pid_t pid_ = -1;
  std::optional<SandboxPairing> pairing_;
};

}  // namespace idlewyn::command
