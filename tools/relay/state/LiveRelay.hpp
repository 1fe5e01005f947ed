// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <functional>
#include <optional>
#include <string>

#include <tools/relay-core/PairingCodes.hpp>
#include <tools/relay-core/Service.hpp>
#include <tools/relay/sessions/AgentSessions.hpp>
#include <tools/relay/sessions/Policy.hpp>
#include <tools/relay/state/StateFile.hpp>
#include <tools/relay/state/WrongCodes.hpp>

/// What a running relay answers: to devices as a Service, to the agents' side as a Policy. One
/// thread.
///
///     LiveRelay relay(file, clock);
///     SessionList list(relay, file.state().secret, clock);
///     relay.serve(list);
namespace idlewyn::relay {

class LiveRelay final : public Service, public Policy {
 public:
  using Clock = std::function<Date()>;

  /// Where one device's push tokens end, in number and in bytes of each.
  static constexpr std::size_t mostPushTokens = 16;
  static constexpr std::size_t longestPushToken = 4096;
  static constexpr std::size_t codeLength = 16;

  /// `file` outlives the relay.
  LiveRelay(StateFile& file, Clock clock) : file_(file), clock_(std::move(clock)) {}
  LiveRelay(const LiveRelay&) = delete;
  LiveRelay& operator=(const LiveRelay&) = delete;

  /// Whose sessions are served; outlives the relay's calls. Devices that are paired count as
  /// attentive from now on, so that a question that was open before a restart waits for them.
  void serve(AgentSessions& sessions);

  /// A code that lives five minutes; `name` becomes the device's.
  std::string makeCode(const std::string& name);
  /// False for an unknown device. Its tokens are refused from now on.
  bool revoke(const std::string& device);
  /// The person's own switch at the machine, which no lock holds back.
  void setApprovals(bool enabled, bool locked);
  void setAway(bool away);
  bool removeRule(std::size_t index);
  const state::State& state() const { return file_.state(); }

  std::string account() const override;
  PairingResult pair(AgentProvider provider, const std::string& code,
                     const std::string& origin) override;
  std::optional<Access> admit(const std::string& token, const std::string& origin) override;
  void sessions(const Access& access, std::optional<AgentProvider> provider,
                SessionsTaken taken) override;
  void decide(const Access& access, const std::string& promptID, PermissionDecision decision,
              Decided decided) override;
  bool remoteApprovals() const override { return file_.state().remoteApprovals; }
  bool setRemoteApprovals(bool enabled) override;
  bool keepPushToken(const Access& access, PushTokenRegistration registration) override;
  void unpair(const Access& access, const std::string& token) override;

  bool isAway() const override { return file_.state().away; }
  bool isAttentive(AgentProvider provider) const override;
  Waits waits() const override { return {}; }
  bool isAllowed(const KeptRule& rule) const override;
  void keep(KeptRule rule) override;

 private:
  /// Changes a copy, saves it, and only then lets it hold.
  template <class Change>
  void change(Change change);
  state::Device* find(const std::string& device);

  StateFile& file_;
  Clock clock_;
  AgentSessions* sessions_ = nullptr;
  PairingCodes codes_{codeLength};
  WrongCodes wrongCodes_;
  std::array<std::optional<Date>, 2> asked_;
};

}  // namespace idlewyn::relay
