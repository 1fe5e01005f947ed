// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/CommandHelp.hpp>

#include <IdlewynKit/Version.hpp>

namespace idlewyn::command {
namespace {

// Text as roff takes it literally: a hyphen would become a dash that can't be searched for, and
// a line must not begin with a control character.
std::string roff(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else if (c == '\'') {
      result += "\\(aq";
    } else {
      if (c == '.' && (result.empty() || result.back() == '\n')) result += "\\&";
      result += c;
    }
  }
  return result;
}

std::string bold(std::string_view text) { return "\\fB" + roff(text) + "\\fR"; }

std::string termOf(const Option& option) {
  if (option.isArgument()) return "\\fI" + roff(option.name) + "\\fR";
  return bold(option.name) + (option.takesValue() ? " \\fI" + roff(option.value) + "\\fR" : "");
}

std::string sectionOf(const Command& command) {
  std::string text = ".SS " + roff(command.name) + "\n.B " + roff(synopsisOf(command)) + "\n.PP\n" +
                     roff(command.summary) + ".\n";
  for (const Option& option : command.options)
    text += ".TP\n" + termOf(option) + "\n" + roff(option.help) + ".\n";
  if (!command.notes.empty()) text += ".PP\n" + roff(command.notes) + "\n";
  for (const Example& example : command.examples) {
    text += ".PP\nExample, to " + roff(example.purpose) + ":\n.PP\n.RS\n.nf\n" +
            roff(example.command) + "\n.fi\n.RE\n";
  }
  return text;
}

constexpr const char* files = R"(.SH FILES
.TP
\fI$IDLEWYN_DATA_DIR\fR, \fI$XDG_DATA_HOME/idlewyn\fR, or \fI~/.local/share/idlewyn\fR
What is kept on this machine, for its owner alone.
)";

}  // namespace

std::string synopsisOf(const Command& command) {
  std::string text = "idlewyn " + command.name;
  for (const Option& option : command.options) {
    std::string word = option.name;
    if (!option.isArgument() && option.takesValue()) word += " " + option.value;
    text += option.isRequired ? " " + word : " [" + word + "]";
  }
  return text;
}

std::string footerOf(const Command& command) {
  std::string text = command.notes;
  for (const Example& example : command.examples) {
    if (!text.empty()) text += "\n\n";
    text += "To " + example.purpose + ":\n  " + example.command;
  }
  return text;
}

std::string manualPage(const CommandTable& table) {
  std::string text = ".TH IDLEWYN 1 \"\" \"idlewyn " + roff(IdlewynKitVersionString) +
                     "\" \"User Commands\"\n.SH NAME\nidlewyn \\- " + roff(table.summary) +
                     "\n.SH SYNOPSIS\n.B idlewyn\n\\fIcommand\\fR [\\fIoption\\fR ...]\n" +
                     ".SH COMMANDS\n";
  for (const Command& command : table.commands) {
    if (!command.isHidden) text += sectionOf(command);
  }
  text +=
      ".SH EXIT STATUS\n.nf\n" + roff(table.exitStatus) + "\n.fi\n" + files + ".SH ENVIRONMENT\n";
  for (const EnvironmentVariable& variable : table.environment)
    text += ".TP\n" + bold(variable.name) + "\n" + roff(variable.help) + "\n";
  return text;
}

}  // namespace idlewyn::command
