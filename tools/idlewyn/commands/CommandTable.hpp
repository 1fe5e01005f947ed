// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <IdlewynKit/model/AgentProvider.hpp>

#include <tools/idlewyn/failure/Failure.hpp>

/// The one table of commands. The command line, its help, the manual page and the shells'
/// completions are all made from it: a new command is one entry in CommandEntries.cpp.
///
///     {"render", "Draw the sessions as a picture", runRender,
///      {agentOption(), Option::text("--output", "FILE", "Where to write it").required()},
///      {{"idlewyn render --output now.svg", "draw what is going on now"}}},
namespace idlewyn::command {

struct Surroundings;

enum class ValueKind : std::uint8_t { flag, text, word, number, wholeNumber, promptID, file };

/// An option, or an argument when its name doesn't begin with "--".
struct Option {
  static Option flag(std::string name, std::string help);
  static Option text(std::string name, std::string value, std::string help);
  /// One of the words; these are what shells offer.
  static Option word(std::string name, std::string value, std::vector<std::string> words,
                     std::string help);
  static Option number(std::string name, std::string value, double lowest, double highest,
                       std::string help);
  static Option wholeNumber(std::string name, std::string value, double lowest, double highest,
                            std::string help);
  static Option promptID(std::string name, std::string help);
  /// The name of a file or folder.
  static Option file(std::string name, std::string value, std::string help);

  Option required() &&;
  /// Refused unless the other is given too, or when it is.
  Option needing(std::string other) &&;
  Option excluding(std::string other) &&;

  bool isArgument() const noexcept { return !name.starts_with("--"); }
  bool takesValue() const noexcept { return kind != ValueKind::flag; }
  /// Whether a value that was given is one.
  bool accepts(std::string_view text) const;

  std::string name;
  ValueKind kind;
  /// How help calls the value: "SECONDS".
  std::string value;
  std::string help;
  std::vector<std::string> words;
  double lowest = 0;
  double highest = 0;
  bool isRequired = false;
  std::vector<std::string> needs;
  std::vector<std::string> excludes;

 private:
  Option(std::string name, ValueKind kind, std::string value, std::string help)
      : name(std::move(name)), kind(kind), value(std::move(value)), help(std::move(help)) {}
};

/// `--agent` and `--json`, which most commands have.
Option agentOption();
Option jsonOption();

/// What was given for the options of a command, all of it acceptable.
class Arguments {
 public:
  void set(const std::string& name, std::string value) { values_[name] = std::move(value); }

  bool has(const std::string& name) const { return values_.contains(name); }
  /// Empty when it was not given.
  std::string text(const std::string& name) const;
  double number(const std::string& name, double otherwise) const;
  std::optional<AgentProvider> agent() const;

 private:
  std::map<std::string, std::string> values_;
};

struct Example {
  std::string command;
  /// What it does, without a full stop.
  std::string purpose;
};

struct Command {
  using Run = std::function<ExitCode(const Arguments&, Surroundings&)>;

  /// One word, or two for a command of a group: "pin show".
  std::string name;
  /// One line without a full stop.
  std::string summary;
  Run run;
  std::vector<Option> options;
  std::vector<Example> examples = {};
  /// Paragraphs for help and the manual page.
  std::string notes = {};
  /// Works, but is shown nowhere.
  bool isHidden = false;
};

/// A word that several commands begin with.
struct CommandGroup {
  std::string name;
  std::string summary;
};

struct EnvironmentVariable {
  std::string name;
  /// A sentence.
  std::string help;
};

struct CommandTable {
  std::string summary;
  std::vector<CommandGroup> groups;
  /// In the order in which help lists them.
  std::vector<Command> commands;
  std::string exitStatus;
  /// All that are read and are the product's own, and those of others that are worth knowing.
  std::vector<EnvironmentVariable> environment;
};

/// Made at the first call.
const CommandTable& commandTable();

/// The first word of the name, and the second or nothing.
std::pair<std::string_view, std::string_view> wordsOf(const Command& command);

}  // namespace idlewyn::command
