// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/CommandLine.hpp>

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <span>
#include <string_view>

#include <CLI/CLI.hpp>

#include <IdlewynKit/Version.hpp>

#include <tools/idlewyn/commands/CommandHelp.hpp>
#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/pairings/SharedConnections.hpp>
#include <tools/idlewyn/records/Records.hpp>

namespace idlewyn::command {
namespace {

using namespace std::string_view_literals;

bool takesID(const Command& command) {
  return std::ranges::find(command.options, ValueKind::promptID, &Option::kind) !=
         command.options.end();
}

// The table's commands as the parser wants them, and what was given to the one that was asked for.
class CommandLine {
 public:
  CommandLine() { declare(); }

  /// Throws a Failure for wrong arguments. False when help or the version was asked for and
  /// shown.
  bool parse(std::span<const char* const> arguments);
  const Command& chosen() const { return *chosen_; }
  const Arguments& given() const noexcept { return given_; }

 private:
  void declare();
  void declare(const Command& command);
  CLI::Option* declare(const Option& option, CLI::App& app);
  CLI::App& groupOf(const Command& command);
  const CLI::App* deepest() const;
  Failure describeParseError(const CLI::ParseError& error, std::string_view last) const;
  std::string nameOfOption(const CLI::ParseError& error) const;
  std::string unknownCommand(const CLI::App& among, bool isMissing) const;

  CLI::App app_{commandTable().summary};
  std::map<std::string, CLI::App*> groups_;
  std::map<const CLI::App*, const Command*> commands_;
  const Command* chosen_ = nullptr;
  Arguments given_;
};

void CommandLine::declare() {
  app_.name("idlewyn");
  app_.set_version_flag("--version", "idlewyn " + std::string(IdlewynKitVersionString));
  app_.require_subcommand(1);
  for (const Command& command : commandTable().commands)
    declare(command);
  app_.footer(commandTable().exitStatus);  // last: commands declared behind it would repeat it
}

// A group comes into being with its first command, and so has that one's place in help.
CLI::App& CommandLine::groupOf(const Command& command) {
  const auto [first, second] = wordsOf(command);
  if (second.empty()) return app_;
  const auto& known = commandTable().groups;
  CLI::App*& group = groups_[std::string(first)];
  if (group == nullptr) {
    const auto found = std::ranges::find(known, first, &CommandGroup::name);
    group = app_.add_subcommand(found->name, found->summary)->require_subcommand(1);
  }
  return *group;
}

void CommandLine::declare(const Command& command) {
  const auto [first, second] = wordsOf(command);
  CLI::App* app = groupOf(command).add_subcommand(std::string(second.empty() ? first : second),
                                                  command.summary);
  if (command.isHidden) app->group("");
  app->footer(footerOf(command));
  std::map<std::string, CLI::Option*> declared;
  for (const Option& option : command.options)
    declared[option.name] = declare(option, *app);
  for (const Option& option : command.options) {
    for (const std::string& other : option.needs)
      declared.at(option.name)->needs(declared.at(other));
    for (const std::string& other : option.excludes)
      declared.at(option.name)->excludes(declared.at(other));
  }
  commands_[app] = &command;
}

CLI::Option* CommandLine::declare(const Option& option, CLI::App& app) {
  if (!option.takesValue()) {
    return app.add_flag_callback(
        option.name, [&] { given_.set(option.name, ""); }, option.help);
  }
  const auto take = [&](const CLI::results_t& texts) {
    if (!option.accepts(texts.front())) return false;
    given_.set(option.name, texts.front());
    return true;
  };
  return app.add_option(option.name, take, option.help)
      ->type_name(option.value)
      ->required(option.isRequired);
}

// The innermost command that was recognised.
const CLI::App* CommandLine::deepest() const {
  const CLI::App* app = &app_;
  while (!app->get_subcommands().empty())
    app = app->get_subcommands().front();
  return app;
}

// The option whose value was refused, by the names that are known here; empty for none.
std::string CommandLine::nameOfOption(const CLI::ParseError& error) const {
  const std::string_view text = error.what();
  for (const CLI::Option* option : deepest()->get_options()) {
    const std::string name = option->get_name();
    if (text.starts_with(name + ": ") || text.starts_with("Could not convert: " + name + " =")) {
      return name;
    }
  }
  return "";
}

std::string CommandLine::unknownCommand(const CLI::App& among, bool isMissing) const {
  std::string message =
      isMissing ? "A command is required:" : "That is no command or option; the commands are";
  for (const CLI::App* known : among.get_subcommands(nullptr)) {
    if (!known->get_group().empty()) message += " " + known->get_name() + ",";
  }
  message.back() = '.';
  return message;
}

// The library's sentences quote the arguments, which may be links and codes.
Failure CommandLine::describeParseError(const CLI::ParseError& error, std::string_view last) const {
  const CLI::App* app = deepest();
  const std::string kind = error.get_name();
  std::string message =
      "An unknown option or a word too many; an id that begins with - goes after --.";
  if (!app->get_subcommands(nullptr).empty()) {
    message = unknownCommand(*app, last.empty() || last == app->get_name());
  } else if (kind == "RequiredError" || kind == "RequiresError" || kind == "ExcludesError") {
    message = error.what();  // names of options only
    if (!message.ends_with('.')) message += '.';
    if (kind == "RequiredError" && takesID(*commands_.at(app)))
      message += " An id that begins with - goes after --.";
  } else if (kind == "ArgumentMismatch") {
    message = "An option lacks its value, or was given twice.";
  } else if (const std::string option = nameOfOption(error); !option.empty()) {
    message = "That is no value for " + option + ".";
  }
  std::string words;
  for (; app != &app_; app = app->get_parent())
    words = " " + app->get_name() + words;
  return usageFailure(message + " See idlewyn" + words + " --help.");
}

bool CommandLine::parse(std::span<const char* const> arguments) {
  try {
    app_.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::Success& success) {
    app_.exit(success, std::cout, std::cerr);
    return false;
  } catch (const CLI::ParseError& error) {
    throw describeParseError(error, arguments.size() > 1 ? arguments.back() : "");
  }
  chosen_ = commands_.at(deepest());
  return true;
}

ExitCode run(std::span<const char* const> arguments, Output& output) {
  CommandLine line;
  if (!line.parse(arguments)) return ExitCode::ok;
  output.isJSON = line.given().has("--json");
  Relays relays;
  const auto open = [&]() -> std::unique_ptr<ConnectionList> {
    return std::make_unique<SharedConnections>(
        ConnectionStore::shared(), [&](std::chrono::milliseconds time) { relays.pause(time); });
  };
  Surroundings with(output, relays, open);
  return line.chosen().run(line.given(), with);
}

void report(const Failure& failure, Output& output) {
  if (output.isJSON) {
    output.json(ErrorRecord(failure));
    return;
  }
  output.note("idlewyn: " + failure.message);
  for (const std::string& line : failure.details)
    output.note(line);
}

}  // namespace

ExitCode runCommandLine(int argc, const char* const* argv) {
  const std::span arguments(argv, static_cast<std::size_t>(argc));
  Output output(std::cout, std::cerr, detectStyle());
  // Known before the arguments make sense, so that this is told in JSON too.
  const auto options = arguments.first(
      static_cast<std::size_t>(std::ranges::find(arguments, "--"sv) - arguments.begin()));
  output.isJSON = std::ranges::find(options, "--json"sv) != options.end();
  ExitCode code = ExitCode::ok;
  try {
    code = run(arguments, output);
  } catch (...) {
    const Failure failure = describe(std::current_exception());
    report(failure, output);
    code = failure.code;
  }
  if (output.finish()) return code;
  std::cerr << "idlewyn: Can't write the output.\n";
  return code == ExitCode::ok ? ExitCode::failure : code;
}

}  // namespace idlewyn::command
