// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/CommandHelp.hpp>
#include <tools/idlewyn/commands/CommandLine.hpp>
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/commands/Completions.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/prompts/ShellWord.hpp>

namespace idlewyn::command {
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
    const SnapshotResult result = with.relays.snapshot(connections, SessionSnapshot::empty());
    // Prompts of an agent that does not answer are not offered.
    for (const PromptRecord& prompt : openPrompts(result.snapshot.sorted())) {
      // An id of other characters has to be typed.
      if (isPlainWord(prompt.id)) with.output.line(prompt.id);
    }
  } catch (const std::exception&) {
    // Nothing to offer; a complaint would land in the midst of the command line.
  }
  return ExitCode::ok;
}

}  // namespace idlewyn::command
