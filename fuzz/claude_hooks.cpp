// SPDX-License-Identifier: MIT
// What hooks of Claude Code send, an event a line behind its head line: nothing crashes, every hook
// that waits is let go once, and no prompt stays open when its session has ended.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/asio/io_context.hpp>

#include <tools/relay/agents/claude/ClaudeAgents.hpp>

namespace {

using namespace idlewyn::relay;

class AnyPolicy final : public Policy {
 public:
  bool remoteApprovals() const override { return true; }
  bool isAway() const override { return false; }
  bool isAttentive(idlewyn::AgentProvider) const override { return true; }
  Waits waits() const override { return {}; }
  bool isAllowed(const KeptRule&) const override { return false; }
  void keep(KeptRule) override {}
};

class Waiting final : public WaitingHook {
 public:
  void hold(std::optional<std::chrono::seconds>) override {}
  bool finish(const std::string&) override {
    if (std::exchange(isFinished, true)) std::abort();
    return true;
  }

  bool isFinished = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto now = [] { return Date(); };
  AnyPolicy policy;
  boost::asio::io_context context;
  FileWatch watch(context);
  SessionList list(policy, "secret", now);
  claude::ClaudeAgents agents(context, watch, list, policy, now);
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  std::vector<std::string> sessions;
  while (!rest.empty()) {
    const std::size_t head = rest.find('\n');
    const std::size_t end = head == std::string_view::npos ? head : rest.find('\n', head + 1);
    auto event = hookEvent(rest.substr(0, end));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
    if (!event) continue;
    event->payload.erase("transcript_path");  // no files of this machine
    event->parent = 0;
    sessions.emplace_back(json::text(event->payload, "session_id"));
    if (event->name == "PermissionRequest") event->waiting = std::make_shared<Waiting>();
    agents.receive(*event);
  }
  for (const std::string& session : sessions) {
    HookEvent end;
    end.name = "SessionEnd";
    end.payload = {{"session_id", session}};
    agents.receive(end);
  }
  for (const auto& session : list.sessions(idlewyn::AgentProvider::claude)) {
    if (session.permission) std::abort();
  }
  return 0;
}
