// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <IdlewynKit/relay/Connection.hpp>

#include <tools/idlewyn/failure/Failure.hpp>

/// What `--json` writes: one object a line, keys in this order, optional ones left out when
/// empty, dates as ISO 8601 in UTC with milliseconds. Nothing here can hold a secret.
namespace idlewyn::command {

using platform::DecodingKey;
using platform::field;

/// When an agent last answered.
struct AnswerTime {
  AnswerTime(AgentProvider agent, Date answeredAt) : agent(agent), answeredAt(answeredAt) {}
  explicit AnswerTime(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("agent", &AnswerTime::agent),
                      field("answeredAt", &AnswerTime::answeredAt)};
  }

  AgentProvider agent{};
  Date answeredAt;
};

/// Why one agent's fetch failed.
struct AgentErrorRecord {
  AgentErrorRecord(AgentProvider agent, const Failure& failure)
      : agent(agent),
        kind(failure.kind),
        message(failure.message),
        expectedFingerprint(failure.expectedFingerprint),
        seenFingerprint(failure.seenFingerprint) {}
  explicit AgentErrorRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = AgentErrorRecord;
    return std::tuple{field("agent", &R::agent),
                      field("kind", &R::kind),
                      field("message", &R::message),
                      field("expectedFingerprint", &R::expectedFingerprint),
                      field("seenFingerprint", &R::seenFingerprint),
                      field("answeredAt", &R::answeredAt),
                      field("nextTryAt", &R::nextTryAt)};
  }

  AgentProvider agent{};
  std::string kind;
  std::string message;
  std::optional<std::string> expectedFingerprint;
  std::optional<std::string> seenFingerprint;
  /// Of `sessions` and `watch`: when it last answered, as far as that is known.
  std::optional<Date> answeredAt;
  /// While watching: when it is asked again, which may be never.
  std::optional<Date> nextTryAt;
};

std::vector<AgentErrorRecord> errorRecords(
    const std::map<AgentProvider, std::exception_ptr>& errors);

/// `pair` and `unpair`: a connection without its token and without user names in its address.
struct ConnectionRecord {
  ConnectionRecord(const Connection& connection, bool replaced, bool trustedOnFirstUse);
  explicit ConnectionRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = ConnectionRecord;
    return std::tuple{field("agent", &R::agent),
                      field("address", &R::address),
                      field("account", &R::account),
                      field("connectedAt", &R::connectedAt),
                      field("fingerprint", &R::fingerprint),
                      field("replaced", &R::replaced),
                      field("trustedOnFirstUse", &R::trustedOnFirstUse)};
  }

  AgentProvider agent{};
  std::optional<std::string> address;
  std::string account;
  Date connectedAt;
  std::optional<std::string> fingerprint;
  bool replaced = false;
  bool trustedOnFirstUse = false;
};

/// `allow`, `deny` and `always`.
struct AnswerRecord {
  AnswerRecord(PermissionDecision decision, PromptRecord prompt)
      : decision(decision), prompt(std::move(prompt)) {}
  explicit AnswerRecord(DecodingKey key) : prompt(key) {}

  static constexpr auto fields() {
    return std::tuple{field("decision", &AnswerRecord::decision),
                      field("prompt", &AnswerRecord::prompt),
                      field("warning", &AnswerRecord::warning)};
  }

  PermissionDecision decision{};
  PromptRecord prompt;
  /// Why the answer may have gone elsewhere.
  std::optional<std::string> warning;
};

/// One agent's pinned certificate, and in `pin verify` what its relay shows.
struct PinRecord {
  explicit PinRecord(const Connection& connection);
  explicit PinRecord(DecodingKey) {}

  static constexpr auto fields() {
    using R = PinRecord;
    return std::tuple{field("agent", &R::agent), field("address", &R::address),
                      field("fingerprint", &R::fingerprint),
                      field("seenFingerprint", &R::seenFingerprint)};
  }

  AgentProvider agent{};
  std::optional<std::string> address;
  /// Absent over http, where there is nothing to pin.
  std::optional<std::string> fingerprint;
  std::optional<std::string> seenFingerprint;
};

/// `pin show`, `pin verify` and `pin replace`.
struct PinListRecord {
  PinListRecord() = default;
  explicit PinListRecord(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("pins", &PinListRecord::pins), field("errors", &PinListRecord::errors)};
  }

  std::vector<PinRecord> pins;
  std::vector<AgentErrorRecord> errors;
};

/// One agent's remote approvals.
struct ApprovalsRecord {
  ApprovalsRecord(AgentProvider agent, bool remoteApprovals)
      : agent(agent), remoteApprovals(remoteApprovals) {}
  explicit ApprovalsRecord(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("agent", &ApprovalsRecord::agent),
                      field("remoteApprovals", &ApprovalsRecord::remoteApprovals)};
  }

  AgentProvider agent{};
  bool remoteApprovals = false;
};

/// `approvals`.
struct ApprovalsListRecord {
  ApprovalsListRecord() = default;
  explicit ApprovalsListRecord(DecodingKey) {}

  static constexpr auto fields() {
    return std::tuple{field("approvals", &ApprovalsListRecord::approvals),
                      field("errors", &ApprovalsListRecord::errors)};
  }

  std::vector<ApprovalsRecord> approvals;
  std::vector<AgentErrorRecord> errors;
};

/// `{"error":{...}}`, in place of a result.
struct ErrorRecord {
  struct Details {
    explicit Details(const Failure& failure)
        : kind(failure.kind),
          message(failure.message),
          expectedFingerprint(failure.expectedFingerprint),
          seenFingerprint(failure.seenFingerprint) {
      if (!failure.candidates.empty()) candidates = failure.candidates;
    }
    explicit Details(DecodingKey) {}

    static constexpr auto fields() {
      return std::tuple{field("kind", &Details::kind), field("message", &Details::message),
                        field("expectedFingerprint", &Details::expectedFingerprint),
                        field("seenFingerprint", &Details::seenFingerprint),
                        field("candidates", &Details::candidates)};
    }

    std::string kind;
    std::string message;
    std::optional<std::string> expectedFingerprint;
    std::optional<std::string> seenFingerprint;
    std::optional<std::vector<PromptRecord>> candidates;
  };

  explicit ErrorRecord(const Failure& failure) : error(failure) {}
  explicit ErrorRecord(DecodingKey key) : error(key) {}

  static constexpr auto fields() { return std::tuple{field("error", &ErrorRecord::error)}; }

  Details error;
};

}  // namespace idlewyn::command
