// SPDX-License-Identifier: MIT
#include "CommandLine.hpp"

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <span>
#include <string_view>

#include <CLI/CLI.hpp>

#include <IdlewynKit/Version.hpp>

#include "Commands.hpp"
#include "ConnectionFile.hpp"
#include "Records.hpp"

namespace idlewyn::command {
namespace {

using namespace std::string_view_literals;

constexpr const char* exitCodes = R"(Exit status:
   0  done                      11  the prompt is not open (any more)
   1  failed                    12  too many pairing attempts
   2  wrong arguments           13  an answer that makes no sense
   3  some agents failed        14  another HTTP status
   4  code or token refused     20  network failure or time-out
  10  wrong certificate        130  interrupted
When every agent failed alike, its status is given instead of 3.)";

// The arguments of the command that was asked for, and how to run it.
class CommandLine {
 public:
  explicit CommandLine(Output& output) : output_(output) { declare(); }

  ExitCode run(std::span<const char* const> arguments);

 private:
  void declare();
  void declarePair();
  void declareWatching();
  void declareAnswer(PermissionDecision decision, AnswerOptions& options, const char* help);
  void declareSettings();
  void declareDemo();

  // A command over the paired agents, with the options that all of these have.
  CLI::App* command(const std::string& name, const std::string& help,
                    std::optional<AgentProvider>& agent,
                    std::function<ExitCode(Surroundings&)> action);
  ExitCode runChosen();
  Failure describeParseError(const CLI::ParseError& error, bool isBare) const;
  std::string nameOfOption(const CLI::ParseError& error) const;

  Output& output_;
  CLI::App app_{"Watch coding agents' sessions on relays, and answer their questions"};
  std::map<const CLI::App*, std::function<ExitCode(Surroundings&)>> actions_;
  PairOptions pair_;
  SessionsOptions sessions_;
  WatchOptions watch_;
  AnswerOptions allow_{PermissionDecision::allow};
  AnswerOptions deny_{PermissionDecision::deny};
  AnswerOptions always_{PermissionDecision::always};
  ApprovalsOptions approvals_;
  UnpairOptions unpair_;
  DemoOptions demo_;
  CLI::App* demoCommand_ = nullptr;
};

template <class E>
std::function<bool(const CLI::results_t&)> parser(std::optional<E>& into) {
  return [&into](const CLI::results_t& texts) {
    into = fromRawValue<E>(texts.front());
    return into.has_value();
  };
}

CLI::App* CommandLine::command(const std::string& name, const std::string& help,
                               std::optional<AgentProvider>& agent,
                               std::function<ExitCode(Surroundings&)> action) {
  CLI::App* command = app_.add_subcommand(name, help);
  command->add_option("--agent", parser(agent), "claude or codex")->type_name("AGENT");
  command->add_flag("--json", output_.isJSON, "Write JSON, one object a line");
  actions_[command] = std::move(action);
  return command;
}

void CommandLine::declare() {
  app_.name("idlewyn");
  app_.set_version_flag("--version", "idlewyn " + std::string(IdlewynKitVersionString));
  app_.require_subcommand(1);
  declarePair();
  declareWatching();
  declareAnswer(PermissionDecision::allow, allow_, "Let the tool run this once");
  declareAnswer(PermissionDecision::deny, deny_, "Refuse the tool");
  declareAnswer(PermissionDecision::always, always_, "Let it run, and add the prompt's rule");
  declareSettings();
  declareDemo();
  app_.footer(exitCodes);  // last: commands declared behind it would repeat it
}

void CommandLine::declarePair() {
  CLI::App* command = this->command("pair", "Pair an agent with a relay", pair_.agent,
                                    [this](Surroundings& with) { return runPair(pair_, with); });
  auto* link = command->add_option("link", pair_.link, "Pairing link, or - to read it");
  auto* address = command->add_option("--address", pair_.address, "Address of the relay");
  auto* code = command->add_option("--code", pair_.code, "Pairing code, or - to read it");
  link->type_name("LINK")->excludes(address)->excludes(code);
  address->type_name("URL")->needs(code);
  code->type_name("CODE")->needs(address);
}

void CommandLine::declareWatching() {
  command("sessions", "Show the sessions of the paired agents", sessions_.agent,
          [this](Surroundings& with) { return runSessions(sessions_, with); });
  CLI::App* watch =
      command("watch", "Show them again and again, and what has come to need you", watch_.agent,
              [this](Surroundings& with) { return runWatch(watch_, with); });
  watch->add_option("--interval", watch_.interval, "Seconds between rounds")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.01, 86400.0).description(""))
      ->capture_default_str();
  watch->add_option("--count", watch_.rounds, "Rounds; without it until a signal comes")
      ->type_name("N")
      ->check(CLI::Range(1, 1'000'000'000).description(""));
}

void CommandLine::declareAnswer(PermissionDecision decision, AnswerOptions& options,
                                const char* help) {
  CLI::App* command =
      this->command(std::string(rawValue(decision)), help, options.agent,
                    [&options](Surroundings& with) { return runAnswer(options, with); });
  command->footer(
      "The prompt is shown before it is answered; with --json it stands in the result.");
  command->add_option("prompt", options.prompt, "Id of the prompt; after -- when it begins with -")
      ->type_name("PROMPT")
      ->required();
}

void CommandLine::declareSettings() {
  CLI::App* approvals =
      command("approvals", "Show or change whether relays take answers from afar", approvals_.agent,
              [this](Surroundings& with) { return runApprovals(approvals_, with); });
  const auto readSwitch = [this](const CLI::results_t& texts) {
    const bool isOn = texts.front() == "on";
    approvals_.enabled = isOn;
    return isOn || texts.front() == "off";
  };
  approvals->add_option("switch", readSwitch, "on or off")->type_name("on|off");
  CLI::App* unpair = command("unpair", "End a pairing", unpair_.agent,
                             [this](Surroundings& with) { return runUnpair(unpair_, with); });
  unpair->add_flag("--forget", unpair_.forget, "Only here, without telling the relay");
}

void CommandLine::declareDemo() {
  demoCommand_ = app_.add_subcommand("demo", "A tour on relays that are started for it");
  demoCommand_->add_flag("--offline", demo_.offline, "Demo connections only, without network");
}

// The option whose value was refused, by the names that are known here; empty for none.
std::string CommandLine::nameOfOption(const CLI::ParseError& error) const {
  const std::string_view text = error.what();
  const auto chosen = app_.get_subcommands();
  if (chosen.empty()) return "";
  for (const CLI::Option* option : chosen.front()->get_options()) {
    const std::string name = option->get_name();
    if (text.starts_with(name + ": ") || text.starts_with("Could not convert: " + name + " =")) {
      return name;
    }
  }
  return "";
}

// The library's sentences quote the arguments, which may be links and codes.
Failure CommandLine::describeParseError(const CLI::ParseError& error, bool isBare) const {
  const auto chosen = app_.get_subcommands();
  const std::string command = chosen.empty() ? "" : " " + chosen.front()->get_name();
  const std::string name = error.get_name();
  std::string message =
      "An unknown option or a word too many; an id that begins with - goes after --.";
  if (chosen.empty()) {
    message = isBare ? "A command is required:" : "That is no command or option; the commands are";
    for (const CLI::App* known : app_.get_subcommands(nullptr))
      message += " " + known->get_name() + ",";
    message.back() = '.';
  } else if (name == "RequiredError" || name == "RequiresError" || name == "ExcludesError") {
    message = error.what();  // names of options only
    if (!message.ends_with('.')) message += '.';
    // Only an id is required.
    if (name == "RequiredError") message += " An id that begins with - goes after --.";
  } else if (name == "ArgumentMismatch") {
    message = "An option lacks its value, or was given twice.";
  } else if (const std::string option = nameOfOption(error); !option.empty()) {
    message = "That is no value for " + option + ".";
  }
  return usageFailure(message + " See idlewyn" + command + " --help.");
}

ExitCode CommandLine::runChosen() {
  Relays relays;
  const CLI::App* chosen = app_.get_subcommands().front();
  if (chosen == demoCommand_) return runDemo(demo_, output_, relays);
  ConnectionFile connections(ConnectionFile::defaultDirectory(),
                             [&](std::chrono::milliseconds time) { relays.pause(time); });
  Surroundings with{output_, connections, relays};
  return actions_.at(chosen)(with);
}

ExitCode CommandLine::run(std::span<const char* const> arguments) {
  try {
    app_.parse(static_cast<int>(arguments.size()), arguments.data());
  } catch (const CLI::Success& success) {
    return static_cast<ExitCode>(app_.exit(success, std::cout, std::cerr));
  } catch (const CLI::ParseError& error) {
    throw describeParseError(error, arguments.size() <= 1);
  }
  return runChosen();
}

void report(const Failure& failure, Output& output) {
  if (output.isJSON) {
    output.json(ErrorRecord(failure));
  } else {
    output.note("idlewyn: " + failure.message);
  }
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
    code = CommandLine(output).run(arguments);
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
