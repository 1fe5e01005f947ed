// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "HTTP.hpp"

/// What can go wrong with an answer, on demand.
///
///     FaultPlan plan;
///     plan.add("POST v1/pair", Fault::status(503), 2);   // the next two pairings
///     plan.add("v1/permissions/*", Fault::stall());
namespace idlewyn::sandbox {

struct Fault {
  enum class Kind : std::uint8_t {
    /// Another status, with an error as body.
    status,
    /// The answer comes late, by real seconds.
    delay,
    /// The request is taken, no answer ever comes.
    stall,
    /// Half of the body comes, then nothing more.
    stallMidBody,
    /// Half of the body comes, then the connection is closed.
    closeMidBody,
    /// The connection is closed without an answer.
    close,
    /// Content-Length says less than the body has; closed behind it.
    wrongLength,
    /// Status 200 with a web page.
    notJSON,
    /// Bytes of another protocol.
    notHTTP,
    /// From this answer on, new connections get another certificate.
    otherCertificate,
  };

  static Fault status(int status) { return {Kind::status, static_cast<double>(status)}; }
  static Fault delay(double seconds) { return {Kind::delay, seconds}; }
  static Fault stall() { return {Kind::stall, 0}; }
  static Fault stallMidBody() { return {Kind::stallMidBody, 0}; }
  static Fault closeMidBody() { return {Kind::closeMidBody, 0}; }
  static Fault close() { return {Kind::close, 0}; }
  static Fault wrongLength() { return {Kind::wrongLength, 0}; }
  static Fault notJSON() { return {Kind::notJSON, 0}; }
  static Fault notHTTP() { return {Kind::notHTTP, 0}; }
  static Fault otherCertificate() { return {Kind::otherCertificate, 0}; }

  /// Reads "status=503", "delay=0.5", "stall", "stall-mid-body", "close-mid-body", "close",
  /// "wrong-length", "not-json", "not-http" or "other-certificate". Statuses go from 200 to
  /// 999, delays from 0 to an hour.
  static std::optional<Fault> parse(std::string_view text);
  /// Several of them between commas; no value when one is not known.
  static std::optional<std::vector<Fault>> parseList(std::string_view text);

  friend bool operator==(const Fault&, const Fault&) = default;

  Kind kind;
  /// The status, or the seconds of a delay.
  double value;

 private:
  Fault(Kind kind, double value) : kind(kind), value(value) {}
};

/// "METHOD path", or a path alone for every method. The path comes without the relay's prefix;
/// a leading "/" is optional and a "*" at the end stands for any rest.
bool matchesEndpoint(std::string_view pattern, std::string_view method, std::string_view path);

/// Which requests get which faults or ready-made answers. May be used from any thread.
class FaultPlan {
 public:
  static constexpr std::size_t forever = std::numeric_limits<std::size_t>::max();

  void add(std::string endpoint, Fault fault, std::size_t count = forever);
  void respond(std::string endpoint, HTTPAnswer response, std::size_t count = forever);
  void clear();

  /// The faults of every rule that matches, each used once.
  std::vector<Fault> takeFaults(std::string_view method, std::string_view path);
  /// The ready-made answer of the latest rule that matches, used once.
  std::optional<HTTPAnswer> takeResponse(std::string_view method, std::string_view path);

 private:
  template <class T>
  struct Rule {
    std::string endpoint;
    T effect;
    std::size_t remaining;
  };

  std::mutex mutex_;
  std::vector<Rule<Fault>> faults_;
  std::vector<Rule<HTTPAnswer>> responses_;
};

}  // namespace idlewyn::sandbox
