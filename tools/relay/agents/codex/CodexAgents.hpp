// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>

#include <tools/relay/agents/Hook.hpp>
#include <tools/relay/sessions/Policy.hpp>
#include <tools/relay/sessions/SessionList.hpp>

/// Everything that the relay knows of Codex: the app-servers of its configuration folders, its
/// hooks, the records of its sessions.
///
///     CodexAgents codex(context, watch, list, policy, {home / ".codex"});
///     codex.start();
///     HookServer hooks(context, path, {{"codex", &codex}});
namespace idlewyn::relay {

class FileWatch;

namespace codex {

class CodexAgents final : public HookReceiver {
 public:
  /// What is passed by reference outlives the object.
  CodexAgents(boost::asio::io_context& context, FileWatch& watch, SessionList& list, Policy& policy,
              std::vector<std::string> codexHomes, std::function<Date()> clock);
  CodexAgents(const CodexAgents&) = delete;
  CodexAgents& operator=(const CodexAgents&) = delete;
  ~CodexAgents() override;

  void start();
  void receive(const HookEvent& event) override;
  void gone(const std::shared_ptr<WaitingHook>& waiting) override;

 private:
  class Parts;
  std::unique_ptr<Parts> parts_;
};

}  // namespace codex
}  // namespace idlewyn::relay
