// SPDX-License-Identifier: MIT
#include <tools/relay/commands/Report.hpp>

#include <string>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/relay-core/QRCode.hpp>

namespace idlewyn::relay {
namespace {

std::string shown(const json::Object& object, std::string_view name) {
  return platform::displayLine(json::text(object, name));
}

std::string agents(const json::Object& device) {
  std::string text;
  if (const auto* list = json::list(device, "agents")) {
    for (const auto& agent : *list)
      text += (text.empty() ? "" : ", ") + std::string(agent.as_string());
  }
  return text;
}

}  // namespace

void reportStatus(const json::Object& answer, std::ostream& out) {
  const bool isOn = json::isTrue(answer, "remoteApprovals");
  out << (json::isTrue(answer, "running") ? "The relay is running at "
                                          : "The relay is not running. Its address is ")
      << shown(answer, "address") << ".\n"
      << "Fingerprint: " << json::text(answer, "fingerprint") << "\n"
      << "Remote approvals are " << (isOn ? "on" : "off")
      << (json::isTrue(answer, "locked") ? ", and locked: only this machine can switch them on"
                                         : "")
      << ".\n";
  if (json::isTrue(answer, "away")) {
    out << "You are away: questions wait without a bound. Say when you are back: idlewyn-relay "
           "back\n";
  }
  out << json::number(answer, "devices").value_or(0) << " devices are paired, "
      << json::number(answer, "rules").value_or(0) << " rules are kept.\n";
}

void reportDevices(const json::Object& answer, std::ostream& out) {
  const auto* list = json::list(answer, "devices");
  if (list == nullptr || list->empty()) {
    out << "No device is paired. Pair one: idlewyn-relay link\n";
    return;
  }
  for (const auto& entry : *list) {
    const json::Object& device = entry.as_object();
    out << json::text(device, "id") << "  " << shown(device, "name") << "\n    " << agents(device)
        << "; since " << json::text(device, "since") << "; last seen "
        << json::text(device, "lastSeen") << " from " << shown(device, "address") << "\n";
  }
}

void reportRules(const json::Object& answer, std::ostream& out) {
  const auto* list = json::list(answer, "rules");
  if (list == nullptr || list->empty()) {
    out << "The relay keeps no rule.\n";
    return;
  }
  for (const auto& entry : *list) {
    const json::Object& rule = entry.as_object();
    out << json::number(rule, "number").value_or(0) << "  " << json::text(rule, "agent") << " in "
        << shown(rule, "folder") << ": " << shown(rule, "tool") << "(" << shown(rule, "input")
        << ")\n";
  }
}

void reportLink(const json::Object& answer, bool withCode, std::ostream& out) {
  const std::string link(json::text(answer, "link"));
  if (withCode) out << qrCode(link) << "\n";
  out << link << "\n\nOn the other machine: idlewyn pair '" << link << "'\n"
      << "The link is good for " << json::number(answer, "validSeconds").value_or(0) / 60
      << " minutes, once for each agent. It leads to " << shown(answer, "address") << ".\n";
}

}  // namespace idlewyn::relay
