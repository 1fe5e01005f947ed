// SPDX-License-Identifier: MIT
#include <tools/relay/commands/CommandLine.hpp>

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <boost/json/serialize.hpp>

#include <IdlewynKit/Version.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/relay/agents/install/HookFiles.hpp>
#include <tools/relay/commands/AddressCheck.hpp>
#include <tools/relay/commands/Control.hpp>
#include <tools/relay/commands/Report.hpp>
#include <tools/relay/commands/Serve.hpp>
#include <tools/relay/commands/Setup.hpp>
#include <tools/relay/state/StateFile.hpp>

namespace idlewyn::relay {
namespace {

/// What was given on the command line.
struct Given {
  std::string folder = defaultStateFolder();
  std::string socket;
  bool json = false;
  std::string name;
  std::string pin;
  std::string device;
  std::string mode;
  int number = 0;
  SetupOptions setup;
  ServeOptions serve;
  HookFilesOptions hooks;
  int status = 0;
};

using Run = std::function<void(Given&)>;
using Report = void (*)(const json::Object&, std::ostream&);

void write(const Given& given, const json::Object& answer, Report report) {
  if (given.json) {
    std::cout << platform::displayJSON(boost::json::serialize(answer)) << "\n";
  } else {
    report(answer, std::cout);
  }
}

void runLink(Given& given) {
  // The link is worth nothing where its address leads elsewhere, so the address is looked at first.
  const json::Object status = ask(given.folder, {{"command", "status"}});
  const std::string address(json::text(status, "address"));
  json::Object request{{"command", "link"}, {"name", given.name}};
  if (json::isTrue(status, "running")) {
    const AddressCheck check = checkAddress(address);
    if (!check.isRelay) {
      std::cerr << "Warning: the relay can't be reached at " << address << ": " << check.trouble
                << "\n";
    }
    const std::string own(json::text(status, "fingerprint"));
    if (!given.pin.empty()) request["pin"] = given.pin;
    if (check.fingerprint && *check.fingerprint != own && given.pin != *check.fingerprint) {
      throw std::runtime_error(
          "Another certificate than the relay's answers at " + address +
          ". If that is your proxy, put its certificate into the link: idlewyn-relay link --pin " +
          *check.fingerprint);
    }
  }
  const json::Object answer = ask(given.folder, request);
  if (given.json) {
    std::cout << boost::json::serialize(answer) << "\n";
  } else {
    reportLink(answer, ::isatty(STDOUT_FILENO) != 0, std::cout);
  }
}

void runSetup(Given& given) {
  given.setup.folder = given.folder;
  if (setUp(given.setup)) runLink(given);
}

void runServe(Given& given) {
  given.serve.folder = given.folder;
  const bool isUsual = given.folder == defaultStateFolder();
  given.serve.hookSocket = !given.socket.empty() ? given.socket
                           : isUsual             ? defaultHookSocket()
                                                 : given.folder + "/hook.sock";
  if (given.serve.codexFolders.empty())
    given.serve.codexFolders.push_back(homeFolder() + "/.codex");
  serve(given.serve);
}

/// The hook program: beside this one when installed, in a folder of its own when just built.
std::string hookProgram() {
  const auto folder = std::filesystem::canonical("/proc/self/exe").parent_path();
  const auto beside = folder / "idlewyn-relay-hook";
  return (std::filesystem::exists(beside) ? beside : folder / "hook" / beside.filename()).string();
}

Run hooks(HookAction action) {
  return [action](Given& given) {
    given.hooks.action = action;
    given.hooks.home = homeFolder();
    given.hooks.program = hookProgram();
    if (given.folder != defaultStateFolder()) given.hooks.socket = given.folder + "/hook.sock";
    given.hooks.isTerminal = ::isatty(STDIN_FILENO) != 0;
    given.status = runHooks(given.hooks, std::cin, std::cout);
  };
}

Run asking(const char* command, Report report) {
  return [command, report](Given& given) {
    write(given,
          ask(given.folder, {{"command", command},
                             {"device", given.device},
                             {"mode", given.mode},
                             {"number", given.number}}),
          report);
  };
}

void reportRevoked(const json::Object& answer, std::ostream& out) {
  out << "Revoked " << json::text(answer, "revoked") << ". Its tokens are refused from now on.\n";
}

struct Command {
  const char* name;
  const char* help;
  Run run;
  void (*declare)(CLI::App&, Given&);
};

void withJSON(CLI::App& app, Given& given) { app.add_flag("--json", given.json, "Write JSON"); }

void declareSetup(CLI::App& app, Given& given) {
  app.add_option("--listen", given.setup.listen, "Address of this machine to listen on");
  app.add_option("--address", given.setup.address, "Where devices reach the relay, as a URL");
  app.add_flag("--no-service", given.setup.noService, "Leave the service manager alone");
}

void declareServe(CLI::App& app, Given& given) {
  app.add_option("--socket", given.socket, "Where hooks connect");
  app.add_option("--codex-home", given.serve.codexFolders,
                 "Codex's configuration folder; may be repeated");
  app.add_flag("--plain-http", given.serve.isPlain, "No TLS; on this machine only");
  app.add_flag("--plain-http-readable-by-the-network", given.serve.isPlainOnNetwork,
               "No TLS: everybody in the network can read tokens and commands");
}

void declareLink(CLI::App& app, Given& given) {
  withJSON(app, given);
  app.add_option("--name", given.name, "How devices calls the device (default: day and address)");
  app.add_option("--pin", given.pin, "Fingerprint of the certificate of a proxy in front");
}

void declareDevice(CLI::App& app, Given& given) {
  withJSON(app, given);
  app.add_option("DEVICE", given.device, "Its ID or name, as devices shows it")->required();
}

void declareHooks(CLI::App& hooks, Given& given, Run& run) {
  const auto add = [&](const char* name, const char* help, HookAction action) {
    CLI::App* declared = hooks.add_subcommand(name, help);
    declared->add_option("--config-dir", given.hooks.folders,
                         "An agent's configuration folder; may be repeated");
    declared->add_option("--agent", given.hooks.agent, "Whose folder it is, if it doesn't show")
        ->check(CLI::IsMember({"claude", "codex"}));
    declared->add_flag("--yes", given.hooks.isSure, "Write without asking");
    declared->callback([&run, action] { run = idlewyn::relay::hooks(action); });
  };
  hooks.require_subcommand(1);
  add("install", "Let the agents tell the relay what they do", HookAction::install);
  add("remove", "Take the relay's hooks out again", HookAction::remove);
  add("show", "Show what is installed", HookAction::show);
}

void declareMode(CLI::App& app, Given& given) {
  withJSON(app, given);
  app.add_option("MODE", given.mode, "on, off or locked")
      ->required()
      ->check(CLI::IsMember({"on", "off", "locked"}));
}

/// The table of commands: the command line and its help are made from it.
const std::vector<Command>& commands() {
  static const auto* const table = new std::vector<Command>{
      {"setup", "Decide where the relay is reached, and start it", runSetup, declareSetup},
      {"serve", "Run the relay in the foreground", runServe, declareServe},
      {"link", "Show a link with which a device can pair", runLink, declareLink},
      {"devices", "List the paired devices", asking("devices", reportDevices), withJSON},
      {"revoke", "End a device's access", asking("revoke", reportRevoked), declareDevice},
      {"approvals", "Switch answers from afar on or off, or lock them off",
       asking("approvals", reportStatus), declareMode},
      {"away", "Let questions wait without a bound", asking("away", reportStatus), withJSON},
      {"back", "Let questions wait as long as usual", asking("back", reportStatus), withJSON},
      {"rules", "List the rules that the relay keeps for Codex", asking("rules", reportRules),
       withJSON},
      {"status", "Show how the relay is set up", asking("status", reportStatus), withJSON},
  };
  return *table;
}

void declareRemove(CLI::App& rules, Given& given, Run& run) {
  CLI::App* remove = rules.add_subcommand("remove", "Forget a rule");
  remove->add_option("NUMBER", given.number, "Its number in the list")->required();
  remove->callback([&run] { run = asking("removeRule", reportRules); });
}

}  // namespace

int runCommandLine(int argc, const char* const* argv) {
  Given given;
  Run run;
  CLI::App app("The relay of this machine's coding agents: see and answer them from elsewhere.");
  app.set_version_flag("--version", compiledVersionString);
  app.require_subcommand(1);
  app.add_option("--state", given.folder, "The relay's folder")->capture_default_str();
  for (const Command& command : commands()) {
    CLI::App* declared = app.add_subcommand(command.name, command.help);
    declared->fallthrough();
    declared->callback([&run, &command] {
      if (!run) run = command.run;
    });
    command.declare(*declared, given);
    if (std::string_view(command.name) == "rules") declareRemove(*declared, given, run);
  }
  declareHooks(*app.add_subcommand("hooks", "Connect the agents with the relay"), given, run);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    const int status = app.exit(error);
    return status == 0 ? 0 : 2;
  }
  try {
    run(given);
    return given.status;
  } catch (const std::exception& error) {
    std::cerr << "idlewyn-relay: " << platform::displayLine(error.what()) << "\n";
    return 1;
  }
}

}  // namespace idlewyn::relay
