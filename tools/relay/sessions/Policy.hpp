// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

/// What the agents' side asks before it shows a question and while the question waits.
///
///     if (!policy.remoteApprovals()) return giveBack();
///     if (policy.isAllowed(rule)) return allow();
namespace idlewyn::relay {

using platform::Date;

/// An "always" that the relay keeps itself, because the agent can't: exactly this input of this
/// tool in this folder.
struct KeptRule {
  KeptRule(AgentProvider provider, std::string folder, std::string tool, std::string input)
      : provider(provider),
        folder(std::move(folder)),
        tool(std::move(tool)),
        input(std::move(input)) {}

  friend bool operator==(const KeptRule&, const KeptRule&) = default;

  AgentProvider provider;
  std::string folder;
  std::string tool;
  /// The tool's input as the adapter compares it, and as people are shown it.
  std::string input;
};

/// How long a hook waits where waiting hides the agent's own dialog.
struct Waits {
  /// A device counts as attentive for so long after it asked for sessions.
  std::chrono::seconds attention{30};
  /// Where the dialog is hidden and a device is attentive.
  std::chrono::seconds hiddenDialog{60};
  /// Where no dialog exists.
  std::chrono::seconds headless{3600};
};

class Policy {
 public:
  virtual ~Policy() = default;

  /// Off comes before everything else, kept rules included.
  virtual bool remoteApprovals() const = 0;
  /// The person said that nobody sits at the terminal: bounded waits have no bound.
  virtual bool isAway() const = 0;
  /// A device with a token for that agent asked for its sessions within `waits().attention`.
  virtual bool isAttentive(AgentProvider provider) const = 0;
  virtual Waits waits() const = 0;

  virtual bool isAllowed(const KeptRule& rule) const = 0;
  /// Survives the relay when it returns. Throws std::runtime_error when it can't be written.
  virtual void keep(KeptRule rule) = 0;
};

}  // namespace idlewyn::relay
