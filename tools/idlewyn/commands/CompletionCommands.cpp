// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/storage/SnapshotStore.hpp>

#include <tools/idlewyn/commands/CommandHelp.hpp>
#include <tools/idlewyn/commands/CommandLine.hpp>
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/commands/Completions.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>

namespace idlewyn::command {
namespace {

// What needs no quoting in any shell; an id of other characters has to be typed.
bool isPlain(std::string_view id) {
  return !id.empty() && id.front() != '-' && std::ranges::all_of(id, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("-_.@+/").find(c) != std::string_view::npos;
  });
}

}  // namespace

ExitCode runCompletions(const Arguments& given, Surroundings& with) {
  const std::string shell = given.text("shell");
  const auto make = shell == "bash"  ? bashCompletions
                    : shell == "zsh" ? zshCompletions
                                     : fishCompletions;
  std::string text = make(commandTable());
  text.pop_back();
  with.output.line(text);
  return ExitCode::ok;
}

ExitCode runHelp(const Arguments& given, Surroundings& with) {
  if (!given.has("--man")) {
    constexpr const char* arguments[] = {"idlewyn", "--help"};
    return runCommandLine(2, arguments);
  }
  std::string text = manualPage(commandTable());
  text.pop_back();
  with.output.line(text);
  return ExitCode::ok;
}

ExitCode runPromptIDs(const Arguments& given, Surroundings& with) {
  try {
    const auto connections = with.connections().paired(given.agent());
    with.relays.limit(std::chrono::milliseconds(1500));  // somebody waits with a finger on Tab
    const SnapshotResult result = with.relays.snapshot(connections, SnapshotStore::shared().load());
    for (const PromptRecord& prompt : openPrompts(result.snapshot.sorted())) {
      if (isPlain(prompt.id)) with.output.line(prompt.id);
    }
  } catch (const std::exception&) {
    // Nothing to offer; a complaint would land in the midst of the command line.
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command
