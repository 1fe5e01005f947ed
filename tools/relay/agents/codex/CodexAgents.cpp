// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/CodexAgents.hpp>

#include <algorithm>
#include <utility>

#include <tools/relay/agents/ProcessWatch.hpp>
#include <tools/relay/agents/codex/AppServerSource.hpp>
#include <tools/relay/agents/codex/HookAdapter.hpp>

namespace idlewyn::relay::codex {
namespace {

/// Codex's news as events of the relay's list.
class ListSink final : public Sink {
 public:
  ListSink(SessionList& list, std::function<Date()> clock)
      : list_(list), clock_(std::move(clock)) {}

  void seen(const std::string& id, const std::string& title, const std::string& folder) override {
    tell(EventKind::seen, id, title, folder);
  }
  void turnBegan(const std::string& id) override { tell(EventKind::turnBegan, id); }
  void activity(const std::string& id, const std::string& text) override {
    tell(EventKind::activity, id, text);
  }
  void progress(const std::string& id, std::int64_t done, std::int64_t total) override {
    Event event(EventKind::progress, AgentProvider::codex, id, clock_());
    event.done = done;
    event.total = total;
    list_.apply(event);
  }
  void waiting(const std::string& id, const std::string& dialog, bool isWaiting) override {
    tell(isWaiting ? EventKind::waits : EventKind::goesOn, id, dialog);
  }
  void finished(const std::string& id, const std::string& summary) override {
    tell(EventKind::finished, id, summary);
  }
  void failed(const std::string& id, const std::string& summary) override {
    tell(EventKind::failed, id, summary);
  }
  void interrupted(const std::string& id) override { tell(EventKind::interrupted, id); }
  void ended(const std::string& id) override { tell(EventKind::ended, id); }

  std::string ask(Question question, Answer answer) override {
    relay::Question asked(AgentProvider::codex, std::move(question.sessionID),
                          std::move(question.toolName), std::move(question.detail),
                          std::move(question.key));
    asked.alwaysRule = std::move(question.alwaysRule);
    return list_.ask(std::move(asked), std::move(answer));
  }
  void withdraw(const std::string& id) override { list_.withdraw(id); }

 private:
  void tell(EventKind kind, const std::string& id, const std::string& text = {},
            const std::string& folder = {}) {
    list_.apply(Event(kind, AgentProvider::codex, id, clock_(), text, folder));
  }

  SessionList& list_;
  std::function<Date()> clock_;
};

}  // namespace

class CodexAgents::Parts {
 public:
  Parts(boost::asio::io_context& context, FileWatch& watch, SessionList& list, Policy& policy,
        const std::vector<std::string>& homes, std::function<Date()> clock)
      : list(list),
        sink(list, std::move(clock)),
        rollouts(watch, [this](const std::string& session,
                               const TurnEnd& end) { hooks.turnEnded(session, end); }),
        processes(context),
        hooks(sink, policy, rollouts, [this](const std::string& id) { return isServed(id); }) {
    for (const std::string& home : homes)
      sources.push_back(std::make_unique<AppServerSource>(context, watch, sink, home));
    list.onForgotten(AgentProvider::codex, [this](const std::string& session) {
      hooks.forget(session);
      processes.forget(session);
    });
  }
  Parts(const Parts&) = delete;
  Parts& operator=(const Parts&) = delete;
  ~Parts() { list.onForgotten(AgentProvider::codex, nullptr); }

  bool isServed(const std::string& id) const {
    // Each is asked, because a hook is also a reason to look for a server.
    return std::count_if(sources.begin(), sources.end(),
                         [&](const auto& source) { return source->owns(id); }) > 0;
  }

  SessionList& list;
  ListSink sink;
  RolloutWatch rollouts;
  ProcessWatch processes;
  HookAdapter hooks;
  std::vector<std::unique_ptr<AppServerSource>> sources;
};

CodexAgents::CodexAgents(boost::asio::io_context& context, FileWatch& watch, SessionList& list,
                         Policy& policy, std::vector<std::string> codexHomes,
                         std::function<Date()> clock)
    : parts_(std::make_unique<Parts>(context, watch, list, policy, codexHomes, std::move(clock))) {}

CodexAgents::~CodexAgents() = default;

void CodexAgents::start() {
  for (const auto& source : parts_->sources)
    source->start();
}

void CodexAgents::receive(const HookEvent& event) {
  const std::string session(json::text(event.payload, "session_id"));
  parts_->hooks.receive(event);
  if (event.name == "SessionEnd") return parts_->processes.forget(session);
  if (session.empty() || session.size() > longestSessionID || parts_->isServed(session)) return;
  // A hook's parent is Codex itself, or the server that runs the session for it.
  parts_->processes.watch(session, static_cast<pid_t>(event.parent), event.parentStart,
                          [this, session] { parts_->hooks.endSession(session); });
}

void CodexAgents::gone(const std::shared_ptr<WaitingHook>& waiting) { parts_->hooks.gone(waiting); }

}  // namespace idlewyn::relay::codex
