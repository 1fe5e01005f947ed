// SPDX-License-Identifier: MIT
#include <string>

#include <nlohmann/json.hpp>

#include "support/Baselines.hpp"
#include "support/DatesByLibrary.hpp"

namespace idlewyn::bench {
namespace {

using Json = nlohmann::json;

double dateOf(const Json& json) {
  return dateByLibrary(json.get_ref<const std::string&>().c_str()).value();
}

std::string textOf(double seconds) {
  char text[25];
  putDateByLibrary(seconds, text);
  return text;
}

template <class T>
void readOptional(const Json& json, const char* key, std::optional<T>& value) {
  const auto found = json.find(key);
  if (found != json.end() && !found->is_null()) value = found->get<T>();
}

template <class T>
void writeOptional(Json& json, const char* key, const std::optional<T>& value) {
  if (value) json[key] = *value;
}

}  // namespace

void from_json(const Json& json, PlainPrompt& prompt) {
  json.at("id").get_to(prompt.id);
  json.at("toolName").get_to(prompt.toolName);
  json.at("detail").get_to(prompt.detail);
  prompt.createdAt = dateOf(json.at("createdAt"));
  readOptional(json, "alwaysRule", prompt.alwaysRule);
}

void from_json(const Json& json, PlainSession& session) {
  json.at("id").get_to(session.id);
  session.provider =
      fromRawValue<AgentProvider>(json.at("provider").get_ref<const std::string&>()).value();
  json.at("title").get_to(session.title);
  readOptional(json, "workingDirectory", session.workingDirectory);
  session.status = fromRawValue<SessionStatus>(json.at("status").get_ref<const std::string&>())
                       .value_or(SessionStatus::idle);
  session.startedAt = dateOf(json.at("startedAt"));
  session.updatedAt = dateOf(json.at("updatedAt"));
  readOptional(json, "summary", session.summary);
  readOptional(json, "permission", session.permission);
  readOptional(json, "activity", session.activity);
  const auto turn = json.find("turnStartedAt");
  if (turn != json.end() && !turn->is_null()) session.turnStartedAt = dateOf(*turn);
  readOptional(json, "taskDone", session.taskDone);
  readOptional(json, "taskTotal", session.taskTotal);
}

void to_json(Json& json, const PlainPrompt& prompt) {
  json = Json{{"id", prompt.id},
              {"toolName", prompt.toolName},
              {"detail", prompt.detail},
              {"createdAt", textOf(prompt.createdAt)}};
  writeOptional(json, "alwaysRule", prompt.alwaysRule);
}

void to_json(Json& json, const PlainSession& session) {
  json["id"] = session.id;
  json["provider"] = rawValue(session.provider);
  json["title"] = session.title;
  writeOptional(json, "workingDirectory", session.workingDirectory);
  json["status"] = rawValue(session.status);
  json["startedAt"] = textOf(session.startedAt);
  json["updatedAt"] = textOf(session.updatedAt);
  writeOptional(json, "summary", session.summary);
  writeOptional(json, "permission", session.permission);
  writeOptional(json, "activity", session.activity);
  if (session.turnStartedAt) json["turnStartedAt"] = textOf(*session.turnStartedAt);
  writeOptional(json, "taskDone", session.taskDone);
  writeOptional(json, "taskTotal", session.taskTotal);
}

std::vector<PlainSession> decodeGenerically(const std::string& json) {
  return Json::parse(json).get<std::vector<PlainSession>>();
}

std::string encodeGenerically(const std::vector<PlainSession>& sessions) {
  return Json(sessions).dump();
}

}  // namespace idlewyn::bench
