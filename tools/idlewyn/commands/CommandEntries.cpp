// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/Commands.hpp>

namespace idlewyn::command {
namespace {

constexpr const char* exitStatus = R"(Exit status:
   0  done                      11  the prompt is not open (any more)
   1  failed                    12  asked too often
   2  wrong arguments           13  an answer that makes no sense
   3  some agents failed        14  another HTTP status
   4  code or token refused     20  network failure or time-out
  10  wrong certificate        130  interrupted
When every agent failed alike, its status is given instead of 3.)";

Option pinOption(std::string help) { return Option::text("--pin", "FINGERPRINT", std::move(help)); }

std::vector<Command> pairingCommands() {
  return {
      {"pair",
       "Pair an agent with a relay",
       runPair,
       {agentOption(), jsonOption(),
        Option::text("link", "LINK", "Pairing link, or - to read it")
            .excluding("--address")
            .excluding("--code")
            .excluding("--pin")
            .excluding("--accept-new"),
        Option::text("--address", "URL", "Address of the relay").needing("--code"),
        Option::text("--code", "CODE", "Pairing code, or - to read it").needing("--address"),
        pinOption("Pair only with the certificate of this fingerprint").needing("--address"),
        Option::flag("--accept-new", "Trust the certificate that is seen first, unasked")
            .needing("--address")
            .excluding("--pin")},
       {{"idlewyn pair - --agent claude", "read the link that the relay shows"},
        {"idlewyn pair --address https://relay.example:8443 --code - --agent codex",
         "type address and code, and compare the certificate's fingerprint"}},
       "By address over https the relay's certificate is looked at before the code is sent. Its "
       "fingerprint is shown, to be compared with the one that the relay shows: answer yes or "
       "no, or paste that one. Without a terminal --pin or --accept-new must say what to trust."},
      {"unpair",
       "End a pairing",
       runUnpair,
       {agentOption(), jsonOption(),
        Option::flag("--forget", "Only here, without telling the relay"),
        Option::flag("--damaged", "Set a list or a keychain's file that can't be read aside")
            .excluding("--agent")
            .excluding("--forget")},
       {{"idlewyn unpair --agent codex", "make the relay forget the token, then this machine"}}},
      {"connections", "List the paired agents", runConnections, {agentOption(), jsonOption()}},
      {"pin show",
       "Show the certificates that are trusted",
       runPinShow,
       {agentOption(), jsonOption()}},
      {"pin verify",
       "Compare them with what the relays show",
       runPinVerify,
       {agentOption(), jsonOption()},
       {{"idlewyn pin verify --agent claude", "end with status 10 when the certificate differs"}}},
      {"pin replace",
       "Trust a relay's new certificate",
       runPinReplace,
       {agentOption(), jsonOption(),
        pinOption("Its fingerprint, as the relay itself shows it; asked for when left out")},
       {{"idlewyn pin replace --agent claude", "paste the fingerprint of a renewed certificate"}},
       "The pin is replaced only when the relay now shows a certificate of that very "
       "fingerprint. Take it from the relay itself, never from what is seen over the network."},
  };
}

std::vector<Command> watchingCommands() {
  return {
      {"sessions",
       "Show the sessions of the paired agents",
       runSessions,
       {agentOption(), jsonOption()}},
      {"show",
       "Show one session or prompt whole, with its summary",
       runShow,
       {agentOption(), jsonOption(),
        Option::promptID("prompt", "ID of a prompt or session; after -- when it begins with -")
            .required()},
       {{"idlewyn show tidy-up-1", "read the whole question before answering it"}},
       "Texts of agents stand after a margin. A row that continues the one above begins with ↪. "
       "What could not be seen is written out, as in \\u{202E}."},
      {"status",
       "Show what was last seen, without asking anybody",
       runStatus,
       {agentOption(), jsonOption(),
        Option::word("--format", "FORMAT", {"text", "line", "waybar"},
                     "text, line (the summary only) or waybar; text if left out")},
       {{"idlewyn status --format waybar", "what a status bar shows"}},
       "The sessions are those that sessions, watch or another program of the product saw last. "
       "Those of an agent whose last try failed, or that nobody has asked for five minutes, are "
       "old: "
       "they are not counted as needing you, and their ages stand still. When all are old, line "
       "and "
       "waybar say how long ago they were seen."},
      {"watch",
       "Show them again and again, and what has come to need you",
       runWatch,
       {agentOption(), jsonOption(),
        Option::number("--interval", "SECONDS", 0.01, 86400,
                       "Seconds between rounds; 5 if left out"),
        Option::wholeNumber("--count", "N", 1, 1e9, "Rounds; without it until a signal comes"),
        Option::flag("--notify", "Tell on the desktop, and take answers there")},
       {{"idlewyn watch", "redraw on the terminal until Ctrl-C"},
        {"idlewyn watch --json --interval 30", "write one JSON object a round"},
        {"idlewyn watch --notify", "be told by the desktop's notifications too"}},
       "An agent that can't be reached keeps its last known sessions and is asked less and less "
       "often, down to once a minute. One that refuses the token is not asked again; when all "
       "do, watching ends. While the connections can't be read, those known so far are "
       "watched. Off a terminal a round is written only when something has changed."
       "\n\nWith --notify each session that comes to need you is told once on the desktop, and "
       "each open prompt until it has ended. Where the notification server has buttons and shows "
       "a prompt whole, it can be answered there; it is looked up once more before the answer is "
       "sent. A prompt that is long, or holds <, > or & on a server that does not announce markup, "
       "has the button Show, which opens the dashboard where it is installed. Of more than five "
       "prompts at once the rest is counted. An answer that was not taken is told there too."},
  };
}

Command answerCommand(PermissionDecision decision, std::string summary) {
  const std::string name(rawValue(decision));
  return {
      name,
      std::move(summary),
      [decision](const Arguments& given, Surroundings& with) {
        return runAnswer(decision, given, with);
      },
      {agentOption(), jsonOption(),
       Option::promptID("prompt", "Id of the prompt; after -- when it begins with -").required()},
      {{"idlewyn " + name + " tidy-up-1", "answer that prompt"}},
      "The prompt is shown before it is answered; with --json it stands in the result."};
}

std::vector<Command> answeringCommands() {
  return {
      answerCommand(PermissionDecision::allow, "Let the tool run this once"),
      answerCommand(PermissionDecision::deny, "Refuse the tool"),
      answerCommand(PermissionDecision::always, "Let it run, and add the prompt's rule"),
      {"approvals",
       "Show or change whether relays take answers from afar",
       runApprovals,
       {agentOption(), jsonOption(),
        Option::word("switch", "on|off", {"on", "off"}, "on or off; shown when left out")}},
  };
}

std::vector<Command> machineCommands() {
  return {
      {"render",
       "Draw what was last seen as a picture",
       runRender,
       {agentOption(),
        Option::word("--format", "FORMAT", {"png", "svg", "pdf"},
                     "png, svg or pdf; what the file's name says, or png, if left out"),
        Option::word("--appearance", "LOOK", {"light", "dark", "night"},
                     "light, dark or night; light if left out"),
        Option::number("--scale", "N", 0.1, 8, "Pixels a point, for png; 2 if left out"),
        Option::file("--output", "FILE", "Where to write it; standard output if left out")},
       {{"idlewyn render --appearance night --output now.svg", "draw it for the night"}}},
      {"push register",
       "Tell the relays a push token",
       runPushRegister,
       {agentOption(), jsonOption(),
        Option::text("token", "TOKEN", "The token, in hexadecimal").required(),
        Option::word("--kind", "KIND", {"activity", "pushToStart"},
                     "activity or pushToStart; activity if left out"),
        Option::text("--environment", "NAME", "Push environment; production if left out"),
        Option::text("--device", "ID", "Id of the device; one of this machine if left out")}},
      {"keychain where", "Tell where the pairings are kept", runKeychainWhere, {jsonOption()}},
      {"keychain move",
       "Keep the pairings elsewhere from now on",
       runKeychainMove,
       {jsonOption(),
        Option::word("place", "PLACE", {"secret-service", "file"}, "secret-service or file")
            .required()},
       {{"idlewyn keychain move secret-service", "move them into the desktop's keyring"}},
       "Everything is copied and read back before the old place is emptied. When the move is cut "
       "off nothing is lost; the same command goes on."},
  };
}

std::vector<Command> otherCommands() {
  return {
      {"doctor",
       "Look for what is wrong, from the relay's name to its token",
       runDoctor,
       {agentOption(), jsonOption(),
        Option::text("--address", "URL", "A relay that nothing is paired with yet")
            .excluding("--agent")},
       {{"idlewyn doctor", "look at every paired agent and at this machine"},
        {"idlewyn doctor --address https://relay.example:8443", "look at a relay before pairing"}}},
      {"demo",
       "A tour on relays that are started for it",
       runDemo,
       {Option::flag("--offline", "Demo connections only, without network"),
        Option::file("--pictures", "FOLDER", "Keep its pictures there").excluding("--offline")}},
      {"completions",
       "Write a shell's completions",
       runCompletions,
       {Option::word("shell", "SHELL", {"bash", "zsh", "fish"}, "bash, zsh or fish").required()},
       {{"idlewyn completions fish >~/.config/fish/completions/idlewyn.fish",
         "complete commands, options and the ids of open prompts"}}},
      Command{.name = "help",
              .summary = "Show what --help shows",
              .run = runHelp,
              .options = {Option::flag("--man", "Write the manual page, as roff")},
              .isHidden = true},
      Command{.name = "prompt-ids",
              .summary = "Write the ids of open prompts, a line each",
              .run = runPromptIDs,
              .options = {agentOption()},
              .isHidden = true},
  };
}

std::vector<EnvironmentVariable> environment() {
  return {
      {"IDLEWYN_DATA_DIR",
       "The folder in which all is kept, as an absolute path. Otherwise it is idlewyn in "
       "XDG_DATA_HOME, or in ~/.local/share."},
      {"IDLEWYN_KEYCHAIN",
       "Where the pairings are kept, whatever was decided on: secret-service, file or memory."},
      {"IDLEWYN_INFO",
       "A file in JSON in which VantorPushGateway names the push gateway. Otherwise it is "
       "idlewyn.info.json beside this program."},
      {"IDLEWYN_RESOURCES", "The folder of the library's texts; otherwise it is found beside it."},
      {"IDLEWYN_MODULES",
       "The folder of the library's module for the Secret Service; otherwise it is found beside "
       "it."},
      {"IDLEWYN_SANDBOX_RELAY",
       "The program of the relay that demo starts; otherwise it is found beside this one."},
      {"DBUS_SESSION_BUS_ADDRESS, XDG_RUNTIME_DIR",
       "Where the desktop's session is, for its keyring and its notifications."},
      {"NO_COLOR", "When set to something, no colours are used."},
  };
}

CommandTable makeTable() {
  CommandTable table{"Watch coding agents' sessions on relays, and answer their questions",
                     {{"pin", "The certificates that are trusted"},
                      {"push", "Push tokens"},
                      {"keychain", "Where the pairings are kept"}},
                     {},
                     exitStatus,
                     environment()};
  for (auto make :
       {pairingCommands, watchingCommands, answeringCommands, machineCommands, otherCommands}) {
    for (Command& command : make())
      table.commands.push_back(std::move(command));
  }
  return table;
}

}  // namespace

const CommandTable& commandTable() {
  static const CommandTable& table = *new CommandTable(makeTable());
  return table;
}

}  // namespace idlewyn::command
