// SPDX-License-Identifier: MIT
#include <tools/relay/agents/claude/Payloads.hpp>

#include <algorithm>
#include <array>
#include <string_view>

namespace idlewyn::relay::claude {
namespace {

/// Nobody can allow what he can't read.
constexpr std::size_t longestRules = 64UL << 10U;

/// One edit: what stands there, then what will.
std::string editText(const json::Object& edit) {
  std::string text = json::isTrue(edit, "replace_all") ? "replace all of\n" : "replace\n";
  text.append(json::text(edit, "old_string")).append("\nby\n");
  return text.append(json::text(edit, "new_string"));
}

/// The command, and how it is run where that isn't as usual.
std::string commandText(const json::Object& input) {
  std::string text(json::text(input, "command"));
  if (json::isTrue(input, "run_in_background")) text.append("\n\nIt runs in the background.");
  if (const auto limit = json::number(input, "timeout"))
    text.append("\n\nIt is ended after ").append(std::to_string(*limit)).append(" milliseconds.");
  return text;
}

std::string pathOf(const json::Object& input) {
  const std::string_view path = json::text(input, "file_path");
  return std::string(path.empty() ? json::text(input, "notebook_path") : path);
}

/// True when `input` has no other members than these: then they are the whole of it.
template <std::size_t size>
bool isOnly(const json::Object& input, const std::array<std::string_view, size>& names) {
  return std::all_of(input.begin(), input.end(), [&](const auto& member) {
    return std::find(names.begin(), names.end(), std::string_view(member.key())) != names.end();
  });
}

std::string ruleText(const json::Object& rule) {
  std::string text(json::text(rule, "toolName"));
  if (const std::string_view content = json::text(rule, "ruleContent"); !content.empty())
    text.append("(").append(content).append(")");
  return text;
}

/// Where a rule is kept, as its text tells it. What is kept for this project and this person says
/// nothing more; no value for a place that isn't known.
std::optional<std::string_view> placeText(std::string_view destination) {
  if (destination.empty() || destination == "localSettings") return "";
  if (destination == "session") return " in this session";
  if (destination == "projectSettings") return " for everyone in this project";
  if (destination == "userSettings") return " in all projects";
  return std::nullopt;
}

/// Empty unless the suggestion adds rules that allow, and every one of them can be shown.
std::string rulesText(const json::Object& suggestion) {
  if (json::text(suggestion, "type") != "addRules" || json::text(suggestion, "behavior") != "allow")
    return {};
  const auto place = placeText(json::text(suggestion, "destination"));
  const auto* rules = place ? json::list(suggestion, "rules") : nullptr;
  std::string text;
  for (const json::Value& rule : rules ? *rules : boost::json::array()) {
    const std::string one = rule.is_object() ? ruleText(rule.get_object()) : std::string();
    if (one.empty()) return {};
    text.append(text.empty() ? "" : ", ").append(one).append(*place);
  }
  return text;
}

/// What of a suggestion is shown, and nothing else that Claude may have put into it.
json::Object onlyRules(const json::Object& suggestion) {
  boost::json::array rules;
  for (const json::Value& rule : *json::list(suggestion, "rules")) {
    json::Object kept;
    for (const char* name : {"toolName", "ruleContent"}) {
      if (const auto* value = rule.get_object().if_contains(name)) kept.emplace(name, *value);
    }
    rules.push_back(std::move(kept));
  }
  json::Object kept{{"type", "addRules"}, {"rules", std::move(rules)}, {"behavior", "allow"}};
  if (const auto* place = suggestion.if_contains("destination"))
    kept.emplace("destination", *place);
  return kept;
}

}  // namespace

std::string detailOf(const std::string& tool, const json::Object& input) {
  constexpr std::array<std::string_view, 4> ofBash{"command", "description", "timeout",
                                                   "run_in_background"};
  constexpr std::array<std::string_view, 2> ofWrite{"file_path", "content"};
  constexpr std::array<std::string_view, 4> ofEdit{"file_path", "old_string", "new_string",
                                                   "replace_all"};
  constexpr std::array<std::string_view, 2> ofFetch{"url", "prompt"};
  if (tool == "Bash" && isOnly(input, ofBash)) return commandText(input);
  if (tool == "Write" && isOnly(input, ofWrite))
    return pathOf(input) + "\n" + std::string(json::text(input, "content"));
  if (tool == "Edit" && isOnly(input, ofEdit)) return pathOf(input) + "\n" + editText(input);
  if (tool == "WebFetch" && isOnly(input, ofFetch))
    return std::string(json::text(input, "url")) + "\n" + std::string(json::text(input, "prompt"));
  return boost::json::serialize(input);
}

std::string activityOf(const std::string& tool, const json::Object& input) {
  if (tool == "Bash") return "$ " + std::string(json::text(input, "command"));
  std::string what = pathOf(input);
  for (const char* name : {"url", "pattern", "query", "description"}) {
    if (what.empty()) what = json::text(input, name);
  }
  return what.empty() ? tool : tool + " " + what;
}

std::optional<SuggestedRules> suggestedRules(const json::Object& payload) {
  const auto* suggestions = json::list(payload, "permission_suggestions");
  SuggestedRules result;
  for (const json::Value& suggestion : suggestions ? *suggestions : boost::json::array()) {
    const std::string text =
        suggestion.is_object() ? rulesText(suggestion.get_object()) : std::string();
    if (text.empty()) continue;
    result.shown.append(result.shown.empty() ? "" : ", ").append(text);
    result.suggestions.push_back(onlyRules(suggestion.get_object()));
  }
  if (result.shown.empty() || result.shown.size() > longestRules) return std::nullopt;
  return result;
}

bool isQuestionTool(const std::string& tool) {
  return tool == "AskUserQuestion" || tool == "ExitPlanMode";
}

bool hasRunningTasks(const json::Object& payload) {
  const auto* tasks = json::list(payload, "background_tasks");
  return tasks && std::any_of(tasks->begin(), tasks->end(), [](const json::Value& task) {
           return task.is_object() && json::text(task.get_object(), "status") == "running";
         });
}

std::string configurationFolder(const json::Object& payload) {
  const std::string_view path = json::text(payload, "transcript_path");
  // A folder above may be called projects as well.
  const std::size_t end = path.rfind("/projects/");
  return std::string(end == std::string_view::npos ? std::string_view() : path.substr(0, end));
}

}  // namespace idlewyn::relay::claude
