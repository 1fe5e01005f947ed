// SPDX-License-Identifier: MIT
#include <tools/relay/state/LiveRelay.hpp>

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <utility>

#include <tools/relay-core/Origin.hpp>
#include <tools/relay-core/Secrets.hpp>

namespace idlewyn::relay {
namespace {

/// How stale the time on disk may be at which a device was last seen.
constexpr std::chrono::minutes seenGrain{10};

std::string dayOf(Date date) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(platform::toSystemClock(date));
  std::tm day{};
  ::localtime_r(&seconds, &day);
  std::array<char, 16> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d", &day)};
}

}  // namespace

template <class Change>
void LiveRelay::change(Change change) {
  const state::State before = file_.state();
  try {
    change(file_.state());
    file_.save();
  } catch (...) {
    file_.state() = before;
    throw;
  }
}

state::Device* LiveRelay::find(const std::string& device) {
  auto& devices = file_.state().devices;
  const auto found = std::ranges::find(devices, device, &state::Device::id);
  return found == devices.end() ? nullptr : &*found;
}

void LiveRelay::serve(AgentSessions& sessions) {
  sessions_ = &sessions;
  for (state::Device& device : file_.state().devices) {
    for (const AgentProvider provider : allCases<AgentProvider>()) {
      if (device.digest(provider)) asked_[static_cast<std::size_t>(provider)] = clock_();
    }
  }
}

std::string LiveRelay::makeCode(const std::string& name) {
  // The code's label names the device: its id, then its name.
  return codes_.make(clock_(), randomText(PairingCodes::alphabet, 8) + name);
}

bool LiveRelay::revoke(const std::string& device) {
  const auto& devices = file_.state().devices;
  const auto isIt = [&](const state::Device& d) { return d.id == device || d.name == device; };
  if (std::ranges::count_if(devices, isIt) != 1) return false;
  change([&](state::State& state) { std::erase_if(state.devices, isIt); });
  return true;
}

void LiveRelay::setApprovals(bool enabled, bool locked) {
  change([&](state::State& state) {
    state.remoteApprovals = enabled;
    state.locked = locked;
  });
  if (!enabled && sessions_ != nullptr) sessions_->withdrawAll();
}

void LiveRelay::setAway(bool away) {
  change([&](state::State& state) { state.away = away; });
}

bool LiveRelay::removeRule(std::size_t index) {
  if (index >= file_.state().rules.size()) return false;
  change([&](state::State& state) {
    state.rules.erase(state.rules.begin() + static_cast<std::ptrdiff_t>(index));
  });
  return true;
}

std::string LiveRelay::account() const {
  const passwd* user = ::getpwuid(::geteuid());
  std::array<char, 256> host{};
  ::gethostname(host.data(), host.size() - 1);
  return (user != nullptr ? std::string(user->pw_name) : "user") + "@" + host.data();
}

PairingResult LiveRelay::pair(AgentProvider provider, const std::string& code,
                              const std::string& origin) {
  const Date now = clock_();
  if (!codes_.use(provider, code, now)) {
    const bool isTooMany = wrongCodes_.isTooMany(countedOrigin(origin), now);
    return {isTooMany ? PairingOutcome::tooManyAttempts : PairingOutcome::wrongCode,
            {},
            WrongCodes::window};
  }
  const std::string label = codes_.labelOf(code);
  const std::string id = label.substr(0, 8);
  const std::string name = label.substr(8);
  std::string token = randomToken();
  change([&](state::State& state) {
    if (find(id) == nullptr) {
      state.devices.emplace_back(id, name.empty() ? dayOf(now) + " " + origin : name, now, origin);
    }
    find(id)->digest(provider) = digestOf(token);
  });
  return {PairingOutcome::paired, std::move(token)};
}

std::optional<Access> LiveRelay::admit(const std::string& token, const std::string& origin) {
  const std::string digest = digestOf(token);
  std::optional<Access> access;
  for (state::Device& device : file_.state().devices) {
    for (const AgentProvider provider : allCases<AgentProvider>()) {
      const auto& kept = device.digest(provider);
      if (kept && isSameSecret(*kept, digest)) access.emplace(device.id, provider);
    }
  }
  if (!access) return access;
  const Date now = clock_();
  state::Device& device = *find(access->owner);
  const bool isWorthWriting = device.seen + seenGrain < now || device.address != origin;
  device.seen = now;
  device.address = origin;
  try {
    if (isWorthWriting) file_.save();
  } catch (const std::runtime_error&) {
    // The time matters less than the answer; the next change writes it.
  }
  return access;
}

void LiveRelay::sessions(const Access& access, std::optional<AgentProvider> provider,
                         SessionsTaken taken) {
  const AgentProvider asked = provider.value_or(*access.provider);
  asked_[static_cast<std::size_t>(asked)] = clock_();
  taken(sessions_ == nullptr ? std::vector<AgentSession>() : sessions_->sessions(asked));
}

void LiveRelay::decide(const Access& access, const std::string& promptID,
                       PermissionDecision decision, Decided decided) {
  if (sessions_ == nullptr || !remoteApprovals()) return decided(DecisionOutcome::gone);
  sessions_->decide(*access.provider, promptID, decision, std::move(decided));
}

bool LiveRelay::setRemoteApprovals(bool enabled) {
  const state::State& state = file_.state();
  if (enabled != state.remoteApprovals && !(enabled && state.locked)) {
    setApprovals(enabled, state.locked);
  }
  return remoteApprovals();
}

bool LiveRelay::keepPushToken(const Access& access, PushTokenRegistration registration) {
  const std::size_t size = registration.token.size() + registration.deviceID.size() +
                           registration.environment.size() +
                           registration.pushKey.value_or("").size();
  if (size > longestPushToken) return false;
  const auto isSame = [&](const PushTokenRegistration& other) {
    return other.deviceID == registration.deviceID && other.kind == registration.kind &&
           other.token == registration.token;
  };
  const auto& kept = find(access.owner)->pushTokens;
  if (std::ranges::find(kept, registration) != kept.end()) return true;
  if (std::ranges::none_of(kept, isSame) && kept.size() >= mostPushTokens) return false;
  change([&](state::State&) {
    auto& tokens = find(access.owner)->pushTokens;
    std::erase_if(tokens, isSame);
    tokens.push_back(std::move(registration));
  });
  return true;
}

void LiveRelay::unpair(const Access& access, const std::string&) {
  change([&](state::State& state) {
    state::Device& device = *find(access.owner);
    device.digest(*access.provider).reset();
    if (!device.claude && !device.codex) {
      std::erase_if(state.devices, [&](const state::Device& d) { return d.id == access.owner; });
    }
  });
}

bool LiveRelay::isAttentive(AgentProvider provider) const {
  const auto& asked = asked_[static_cast<std::size_t>(provider)];
  return asked && clock_() <= *asked + waits().attention;
}

bool LiveRelay::isAllowed(const KeptRule& rule) const {
  return std::ranges::any_of(file_.state().rules,
                             [&](const state::Rule& kept) { return kept.kept() == rule; });
}

void LiveRelay::keep(KeptRule rule) {
  if (isAllowed(rule)) return;
  change([&](state::State& state) { state.rules.emplace_back(rule); });
}

}  // namespace idlewyn::relay
