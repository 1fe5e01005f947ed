// SPDX-License-Identifier: MIT
#include <simdjson.h>

#include "support/Baselines.hpp"
#include "support/DatesByHand.hpp"

namespace idlewyn::bench {
namespace {

namespace dom = simdjson::dom;

dom::parser& parser() {
  thread_local dom::parser kept;
  return kept;
}

bool read(dom::element element, std::string& text) {
  std::string_view view;
  if (element.get(view)) return false;
  text.assign(view);
  return true;
}
bool read(dom::element element, std::int64_t& value) { return !element.get(value); }
bool read(dom::element element, double& date) {
  std::string_view view;
  if (element.get(view)) return false;
  const auto parsed = dateByHand(view);
  date = parsed.value_or(0);
  return parsed.has_value();
}
bool read(dom::element element, AgentProvider& provider) {
  std::string_view view;
  if (element.get(view)) return false;
  const auto found = fromRawValue<AgentProvider>(view);
  if (!found) return false;
  provider = *found;
  return true;
}
bool read(dom::element element, SessionStatus& status) {
  std::string_view view;
  if (element.get(view)) return false;
  status = fromRawValue<SessionStatus>(view).value_or(SessionStatus::idle);
  return true;
}
bool read(dom::element element, PlainPrompt& prompt);
template <class T>
bool read(dom::element element, std::optional<T>& value) {
  return element.is_null() || read(element, value.emplace());
}

bool read(dom::element element, PlainPrompt& prompt) {
  dom::object object;
  if (element.get(object)) return false;
  unsigned seen = 0;
  for (const auto member : object) {
    const std::string_view key = member.key;
    bool isGood = true;
    if (key == "id") {
      isGood = read(member.value, prompt.id);
      seen |= 1;
    } else if (key == "toolName") {
      isGood = read(member.value, prompt.toolName);
      seen |= 2;
    } else if (key == "detail") {
      isGood = read(member.value, prompt.detail);
      seen |= 4;
    } else if (key == "createdAt") {
      isGood = read(member.value, prompt.createdAt);
      seen |= 8;
    } else if (key == "alwaysRule") {
      isGood = read(member.value, prompt.alwaysRule);
    }
    if (!isGood) return false;
  }
  return seen == 15;
}

/// One member of a session; the length and a letter tell the keys apart.
bool readMember(std::string_view key, dom::element value, PlainSession& session, unsigned& seen) {
  switch (key.size()) {
    case 2:
      if (key != "id") break;
      seen |= 1;
      return read(value, session.id);
    case 5:
      if (key != "title") break;
      seen |= 2;
      return read(value, session.title);
    case 6:
      if (key != "status") break;
      seen |= 4;
      return read(value, session.status);
    case 7:
      if (key == "summary") return read(value, session.summary);
      break;
    case 8:
      if (key[0] == 'p' && key == "provider") {
        seen |= 8;
        return read(value, session.provider);
      }
      if (key[0] == 'a' && key == "activity") return read(value, session.activity);
      if (key[0] == 't' && key == "taskDone") return read(value, session.taskDone);
      break;
    case 9:
      if (key[0] == 's' && key == "startedAt") {
        seen |= 16;
        return read(value, session.startedAt);
      }
      if (key[0] == 'u' && key == "updatedAt") {
        seen |= 32;
        return read(value, session.updatedAt);
      }
      if (key[0] == 't' && key == "taskTotal") return read(value, session.taskTotal);
      break;
    case 10:
      if (key == "permission") return read(value, session.permission);
      break;
    case 13:
      if (key == "turnStartedAt") return read(value, session.turnStartedAt);
      break;
    case 16:
      if (key == "workingDirectory") return read(value, session.workingDirectory);
      break;
    default: break;
  }
  return true;
}

}  // namespace

std::optional<std::vector<PlainSession>> decodeByHand(const std::string& json) {
  dom::array array;
  const bool mustCopy = json.capacity() - json.size() < simdjson::SIMDJSON_PADDING;
  if (parser().parse(json.data(), json.size(), mustCopy).get(array)) return std::nullopt;
  std::optional<std::vector<PlainSession>> sessions(std::in_place);
  sessions->reserve(array.size());
  for (const dom::element element : array) {
    dom::object object;
    if (element.get(object)) return std::nullopt;
    PlainSession& session = sessions->emplace_back();
    unsigned seen = 0;
    for (const auto member : object) {
      if (!readMember(member.key, member.value, session, seen)) return std::nullopt;
    }
    if (seen != 63) return std::nullopt;
  }
  return sessions;
}

std::size_t parseOnly(const std::string& json) {
  const bool mustCopy = json.capacity() - json.size() < simdjson::SIMDJSON_PADDING;
  dom::array array;
  if (parser().parse(json.data(), json.size(), mustCopy).get(array)) return 0;
  return array.size();
}

}  // namespace idlewyn::bench
