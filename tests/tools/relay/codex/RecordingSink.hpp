// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <tools/relay/agents/codex/Sink.hpp>

namespace idlewyn::relay::codex {

/// Writes down what a source reports, a line each, and holds its questions open.
class RecordingSink final : public Sink {
 public:
  void seen(const std::string&, const std::string& title, const std::string& folder) override {
    note("seen " + title + " in " + folder);
  }
  void turnBegan(const std::string&) override { note("began"); }
  void activity(const std::string&, const std::string& text) override { note("does " + text); }
  void progress(const std::string&, std::int64_t done, std::int64_t total) override {
    note("progress " + std::to_string(done) + "/" + std::to_string(total));
  }
  void waiting(const std::string&, const std::string&, bool isWaiting) override {
    note(isWaiting ? "waits" : "goes on");
  }
  void finished(const std::string&, const std::string& summary) override {
    note("finished " + summary);
  }
  void failed(const std::string&, const std::string& summary) override {
    note("failed " + summary);
  }
  void interrupted(const std::string&) override { note("interrupted"); }
  void ended(const std::string&) override { note("ended"); }

  std::string ask(Question question, Answer answer) override {
    if (question.detail.empty() || !takesQuestions) {
      note("not asked " + question.toolName);
      return {};
    }
    const std::string id = "p" + std::to_string(++asked_);
    note(id + " asks " + question.toolName + ": " + question.detail +
         (question.alwaysRule ? " [" + *question.alwaysRule + "]" : "") +
         (question.agentID.empty() ? "" : " by a subagent"));
    open.emplace(id, std::move(answer));
    return id;
  }
  void withdraw(const std::string& id) override {
    if (open.erase(id) > 0) note(id + " withdrawn");
  }

  /// As the list does it: removed first, answered then.
  bool answer(const std::string& id, PermissionDecision decision) {
    const Answer taken = std::move(open.at(id));
    open.erase(id);
    return taken(decision);
  }

  /// What was noted since the last call.
  std::vector<std::string> take() { return std::exchange(notes_, {}); }

  std::map<std::string, Answer> open;
  bool takesQuestions = true;

 private:
  void note(std::string line) {
    // Sources say some things twice; what counts is what changes.
    if (notes_.empty() || notes_.back() != line) notes_.push_back(std::move(line));
  }

  std::vector<std::string> notes_;
  int asked_ = 0;
};

}  // namespace idlewyn::relay::codex
