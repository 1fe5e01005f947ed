// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tools/relay/agents/Hook.hpp>
#include <tools/relay/sessions/Policy.hpp>

namespace idlewyn::relay {

class StandInPolicy final : public Policy {
 public:
  bool remoteApprovals() const override { return isOn; }
  bool isAway() const override { return isPersonAway; }
  bool isAttentive(AgentProvider) const override { return isSomebodyThere; }
  Waits waits() const override { return {}; }
  bool isAllowed(const KeptRule& rule) const override {
    return std::find(rules.begin(), rules.end(), rule) != rules.end();
  }
  void keep(KeptRule rule) override { rules.push_back(std::move(rule)); }

  bool isOn = true, isPersonAway = false, isSomebodyThere = true;
  std::vector<KeptRule> rules;
};

class StandInHook final : public WaitingHook {
 public:
  void hold(std::optional<std::chrono::seconds> given) override {
    isHeld = true;
    bound = given;
  }
  bool finish(const std::string& given) override {
    EXPECT_FALSE(output) << "answered twice";
    if (isThere) output = given;
    return isThere;
  }

  bool isHeld = false, isThere = true;
  std::optional<std::chrono::seconds> bound;
  std::optional<std::string> output;
};

}  // namespace idlewyn::relay
