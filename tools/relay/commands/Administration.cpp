// SPDX-License-Identifier: MIT
#include <tools/relay/commands/Administration.hpp>

#include <charconv>
#include <exception>

#include <IdlewynKit/platform/base/ISO8601.hpp>

#include <tools/relay-core/PairingLinkText.hpp>

namespace idlewyn::relay {
namespace {

json::Object failure(std::string_view text) { return {{"error", text}}; }

std::string timeText(Date date) {
  std::string text;
  platform::appendISO8601(date, text);
  return text;
}

boost::json::array agentsOf(const state::Device& device) {
  boost::json::array agents;
  if (device.claude) agents.emplace_back("claude");
  if (device.codex) agents.emplace_back("codex");
  return agents;
}

}  // namespace

std::string addressOf(const state::State& state, const std::string& scheme) {
  if (!state.address.empty()) return state.address;
  const bool isV6 = state.listen.find(':') != std::string::npos;
  const std::string host = isV6 ? "[" + state.listen + "]" : state.listen;
  return scheme + "://" + host + ":" + std::to_string(state.port);
}

json::Object Administration::answer(const json::Object& request) {
  try {
    return run(request);
  } catch (const std::exception& error) {
    return failure(error.what());
  }
}

json::Object Administration::run(const json::Object& request) {
  const std::string_view command = json::text(request, "command");
  if (command == "status") return status();
  if (command == "devices") return devices();
  if (command == "rules") return rules();
  if (command == "link") return link(request);
  if (command == "away" || command == "back") {
    relay_.setAway(command == "away");
    return status();
  }
  if (command == "approvals") {
    const std::string_view mode = json::text(request, "mode");
    relay_.setApprovals(mode == "on", mode == "locked");
    return status();
  }
  if (command == "revoke") {
    const std::string device(json::text(request, "device"));
    if (relay_.revoke(device)) return {{"revoked", device}};
    return failure("No device, or more than one, has that ID or name. See: idlewyn-relay devices");
  }
  if (command == "removeRule") {
    const auto number = json::number(request, "number").value_or(0);
    if (number > 0 && relay_.removeRule(static_cast<std::size_t>(number) - 1)) return rules();
    return failure("There is no rule of that number. See: idlewyn-relay rules");
  }
  return failure("The running relay does not know this command. Restart it after an update.");
}

json::Object Administration::status() const {
  const state::State& state = file_.state();
  json::Object answer{{"running", running_ != nullptr},
                      {"address", addressOf(state, "https")},
                      {"remoteApprovals", state.remoteApprovals},
                      {"locked", state.locked},
                      {"away", state.away},
                      {"devices", state.devices.size()},
                      {"rules", state.rules.size()},
                      {"fingerprint", file_.certificate().fingerprint}};
  if (running_ != nullptr) {
    answer["listen"] = running_->host;
    answer["port"] = running_->port;
  }
  return answer;
}

json::Object Administration::devices() const {
  boost::json::array list;
  for (const state::Device& device : file_.state().devices) {
    list.push_back(json::Object{{"id", device.id},
                                {"name", device.name},
                                {"agents", agentsOf(device)},
                                {"since", timeText(device.since)},
                                {"lastSeen", timeText(device.seen)},
                                {"address", device.address}});
  }
  return {{"devices", std::move(list)}};
}

json::Object Administration::rules() const {
  boost::json::array list;
  for (const state::Rule& rule : file_.state().rules) {
    list.push_back(json::Object{{"number", list.size() + 1},
                                {"agent", rawValue(rule.provider)},
                                {"folder", rule.folder},
                                {"tool", rule.tool},
                                {"input", rule.input}});
  }
  return {{"rules", std::move(list)}};
}

json::Object Administration::link(const json::Object& request) {
  if (running_ == nullptr) {
    return failure("The relay is not running, so nothing can pair. Start it: idlewyn-relay serve");
  }
  const std::string code = relay_.makeCode(std::string(json::text(request, "name")));
  const std::string scheme = running_->isEncrypted ? "https" : "http";
  const std::string address = addressOf(file_.state(), scheme);
  std::string pin(json::text(request, "pin"));
  if (pin.empty() && address.starts_with("https")) {
    pin = file_.state().pin.value_or(file_.certificate().fingerprint);
  }
  return {{"link", pairingLinkText(address, code, pin)},
          {"address", address},
          {"fingerprint", pin},
          {"validSeconds", PairingCodes::lifetime.count()}};
}

}  // namespace idlewyn::relay
