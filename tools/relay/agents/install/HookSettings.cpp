// SPDX-License-Identifier: MIT
#include <tools/relay/agents/install/HookSettings.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>

#include <tools/relay/agents/Json.hpp>
#include <tools/relay/agents/ShellWords.hpp>
#include <tools/relay/agents/install/JsonText.hpp>

namespace idlewyn::relay {
namespace {

constexpr std::string_view programName = "idlewyn-relay-hook";
/// A day: the relay bounds its waits itself.
constexpr int questionTimeout = 86400;
constexpr int eventTimeout = 5;
/// What Codex allows these two at most.
constexpr int shortTimeout = 3;

[[noreturn]] void failAt(std::string_view text, std::size_t at, const std::string& what) {
  const std::string_view before = text.substr(0, std::min(at, text.size()));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t begin = before.rfind('\n');
  const std::size_t column = before.size() - (begin == std::string_view::npos ? 0 : begin + 1) + 1;
  throw SettingsError(what + " (line " + std::to_string(line) + ", column " +
                      std::to_string(column) + ")");
}

void requireJSON(std::string_view text) {
  boost::json::stream_parser parser;
  boost::json::error_code error;
  const std::size_t size = parser.write_some(text.data(), text.size(), error);
  if (!error) parser.finish(error);
  if (error) failAt(text, size, "This is not JSON: " + error.message());
  if (size < text.size() && text.find_first_not_of(" \t\r\n", size) != std::string_view::npos)
    failAt(text, size, "Something follows the JSON document");
  if (!parser.release().is_object()) failAt(text, 0, "The settings are not a JSON object");
}

/// A word of a POSIX shell's command line.
std::string shellWord(const std::string& text) {
  constexpr std::string_view plain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=@%+,";
  if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text)
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

std::string quoted(std::string_view text) {
  return boost::json::serialize(boost::json::value(boost::json::string(text)));
}

std::string commandOf(const HookPlan& plan, const std::string& event) {
  std::string command = "exec " + shellWord(plan.program) + " " + plan.agent + " " + event;
  if (!plan.socket.empty()) command += " --socket " + shellWord(plan.socket);
  return command;
}

int timeoutOf(const HookPlan& plan, const std::string& event) {
  if (event == "PermissionRequest") return questionTimeout;
  const bool isShort = plan.agent == "codex" && (event == "SessionEnd" || event == "Interrupt");
  return isShort ? shortTimeout : eventTimeout;
}

std::string entryText(const HookPlan& plan, const std::string& event) {
  return R"({"hooks": [{"type": "command", "command": )" + quoted(commandOf(plan, event)) +
         R"(, "timeout": )" + std::to_string(timeoutOf(plan, event)) + "}]}";
}

JsonParts containerAt(std::string_view text, std::size_t at, char kind, const std::string& name) {
  const auto parts = jsonParts(text, at);
  if (!parts || parts->kind != kind)
    failAt(text, at, name + (kind == '{' ? " is not an object" : " is not a list"));
  return *parts;
}

/// The object of hooks, if the settings have one.
std::optional<JsonParts> hooksOf(std::string_view text) {
  const JsonParts top = containerAt(text, 0, '{', "The document");
  const JsonPart* hooks = top.member("hooks");
  if (!hooks) return std::nullopt;
  return containerAt(text, hooks->value, '{', "\"hooks\"");
}

/// Runs our program, whatever follows the agent's name.
bool isOurs(const std::string& command, std::string_view agent) {
  const auto words = shellWords(command);
  if (!words || words->empty()) return false;
  const std::size_t at = words->front() == "exec" ? 1 : 0;
  if (words->size() < at + 3 || (*words)[at + 1] != agent) return false;
  const std::string& program = (*words)[at];
  return program.substr(program.rfind('/') + 1) == programName;
}

/// A command of ours in the settings: which list of an event, which entry of the list, which
/// command of the entry.
struct Place {
  std::size_t list, entry, command;
  std::string event;
  json::Object handler;
};

/// The commands that an entry of an event's list runs.
std::optional<JsonParts> commandsOf(std::string_view text, const JsonPart& entry) {
  const auto group = jsonParts(text, entry.value);
  const JsonPart* commands = group && group->kind == '{' ? group->member("hooks") : nullptr;
  auto parts = commands ? jsonParts(text, commands->value) : std::nullopt;
  return parts && parts->kind == '[' ? parts : std::nullopt;
}

std::vector<Place> placesOf(std::string_view text, const JsonParts& hooks, std::string_view agent) {
  std::vector<Place> places;
  for (std::size_t list = 0; list < hooks.parts.size(); ++list) {
    const auto entries = jsonParts(text, hooks.parts[list].value);
    if (!entries || entries->kind != '[') continue;
    for (std::size_t entry = 0; entry < entries->parts.size(); ++entry) {
      const auto commands = commandsOf(text, entries->parts[entry]);
      for (std::size_t at = 0; commands && at < commands->parts.size(); ++at) {
        const JsonPart& part = commands->parts[at];
        auto handler = json::parsed(text.substr(part.value, part.end - part.value));
        if (handler && isOurs(std::string(json::text(*handler, "command")), agent))
          places.push_back({list, entry, at, hooks.parts[list].name, std::move(*handler)});
      }
    }
  }
  return places;
}

std::string withHook(const std::string& text, const HookPlan& plan, const std::string& event) {
  const std::string entry = entryText(plan, event);
  const std::string member = "\n    " + quoted(event) + ": [" + entry + "]";
  const auto hooks = hooksOf(text);
  if (!hooks) return withPart(text, *jsonParts(text, 0), "\n  \"hooks\": {" + member + "}");
  const JsonPart* list = hooks->member(event);
  if (!list) return withPart(text, *hooks, member);
  const JsonParts entries = containerAt(text, list->value, '[', "\"" + event + "\"");
  const auto places = placesOf(text, *hooks, plan.agent);
  const bool isThere = std::any_of(places.begin(), places.end(),
                                   [&](const Place& place) { return place.event == event; });
  return isThere ? text : withPart(text, entries, " " + entry);
}

/// Without one command of ours. What holds nothing else goes with it: its entry, its event's
/// list, at last the hooks.
std::string withoutCommand(std::string_view text, const JsonParts& hooks, const Place& place) {
  const JsonParts entries = *jsonParts(text, hooks.parts[place.list].value);
  const JsonParts commands = *commandsOf(text, entries.parts[place.entry]);
  if (commands.parts.size() > 1) return withoutPart(text, commands, place.command);
  if (entries.parts.size() > 1) return withoutPart(text, entries, place.entry);
  if (hooks.parts.size() > 1) return withoutPart(text, hooks, place.list);
  const JsonParts top = *jsonParts(text, 0);
  return withoutPart(text, top, static_cast<std::size_t>(top.member("hooks") - top.parts.data()));
}

/// Takes out the first command of ours that the plan doesn't want as it is, without a plan the
/// first one. No value when there is none.
std::optional<std::string> withoutOne(const std::string& text, std::string_view agent,
                                      const HookPlan* plan) {
  const auto hooks = hooksOf(text);
  if (!hooks) return std::nullopt;
  std::set<std::string> kept;
  for (const Place& place : placesOf(text, *hooks, agent)) {
    const bool isWanted =
        plan &&
        std::find(plan->events.begin(), plan->events.end(), place.event) != plan->events.end() &&
        json::text(place.handler, "command") == commandOf(*plan, place.event) &&
        json::number(place.handler, "timeout") == timeoutOf(*plan, place.event);
    if (!isWanted || !kept.insert(place.event).second) return withoutCommand(text, *hooks, place);
  }
  return std::nullopt;
}

/// "2.1.84" as numbers that compare.
std::array<int, 3> versionNumbers(std::string_view version) {
  std::array<int, 3> numbers{};
  const char* at = version.data();
  const char* end = at + version.size();
  for (int& number : numbers) {
    at = std::from_chars(at, end, number).ptr;
    if (at == end || *at != '.') break;
    ++at;
  }
  return numbers;
}

}  // namespace

std::string withHooks(std::string_view text, const HookPlan& plan) {
  const bool isBlank = text.find_first_not_of(" \t\r\n") == std::string_view::npos;
  std::string result(isBlank ? "{}\n" : text);
  requireJSON(result);
  while (auto next = withoutOne(result, plan.agent, &plan))
    result = std::move(*next);
  for (const std::string& event : plan.events)
    result = withHook(result, plan, event);
  return result;
}

std::string withoutHooks(std::string_view text, std::string_view agent) {
  requireJSON(text);
  std::string result(text);
  while (auto next = withoutOne(result, agent, nullptr))
    result = std::move(*next);
  return result;
}

std::vector<std::string> hookedEvents(std::string_view text, std::string_view agent) {
  requireJSON(text);
  std::vector<std::string> events;
  const auto hooks = hooksOf(text);
  for (const Place& place : hooks ? placesOf(text, *hooks, agent) : std::vector<Place>()) {
    if (std::find(events.begin(), events.end(), place.event) == events.end())
      events.push_back(place.event);
  }
  return events;
}

std::vector<std::string> claudeEvents(std::string_view version) {
  std::vector<std::string> events{
      "SessionStart", "UserPromptSubmit", "PreToolUse", "PermissionRequest",
      "PostToolUse",  "Notification",     "Stop",       "SubagentStop",
      "SessionEnd"};
  // What each version brought; those whose first version isn't known come with one that was seen.
  struct Since {
    std::array<int, 3> version;
    const char* event;
  };
  constexpr std::array<Since, 6> later{{{{2, 1, 33}, "TaskCompleted"},
                                        {{2, 1, 78}, "StopFailure"},
                                        {{2, 1, 84}, "TaskCreated"},
                                        {{2, 1, 197}, "PostToolUseFailure"},
                                        {{2, 1, 197}, "PostToolBatch"},
                                        {{2, 1, 197}, "SubagentStart"}}};
  const auto numbers = versionNumbers(version);
  for (const Since& since : later) {
    if (numbers >= since.version) events.emplace_back(since.event);
  }
  return events;
}

std::vector<std::string> codexEvents() {
  return {"SessionStart",  "UserPromptSubmit", "PreToolUse", "PermissionRequest", "PostToolUse",
          "SubagentStart", "SubagentStop",     "Stop",       "Interrupt",         "SessionEnd"};
}

}  // namespace idlewyn::relay
