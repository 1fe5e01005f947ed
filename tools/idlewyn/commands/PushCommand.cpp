// SPDX-License-Identifier: MIT
#include <random>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>
#include <IdlewynKit/push/PushGatewayClient.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/records/StorageRecords.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>

namespace idlewyn::command {
namespace {

int digitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

platform::Data parseToken(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
    const int high = digitOf(text[i]);
    const int low = digitOf(text[i + 1]);
    if (high < 0 || low < 0) break;
    bytes += static_cast<char>(high * 16 + low);
  }
  if (bytes.empty() || bytes.size() * 2 != text.size()) {
    throw usageFailure("The token must be hexadecimal, two digits a byte.");
  }
  return platform::Data::ofText(std::move(bytes));
}

// One for this machine, made up at the first need.
std::string deviceID() {
  UserDefaults defaults = AppGroup::userDefaults();
  const auto known = defaults.value("deviceID");
  if (known && std::holds_alternative<std::string>(*known)) return std::get<std::string>(*known);
  std::random_device random;
  std::string bytes;
  for (int i = 0; i < 16; ++i)
    bytes += static_cast<char>(random());
  std::string made = platform::hexadecimal(platform::Data::ofText(bytes).bytes());
  defaults.set("deviceID", made);
  return made;
}

}  // namespace

ExitCode runPushRegister(const Arguments& given, Surroundings& with) {
  const platform::Data token = parseToken(given.text("token"));
  const auto kind = fromRawValue<PushTokenRegistration::Kind>(
      given.has("--kind") ? given.text("--kind") : "activity");
  const std::string environment =
      given.has("--environment") ? given.text("--environment") : "production";
  const std::string device = given.has("--device") ? given.text("--device") : deviceID();
  const auto connections = with.connections().paired(given.agent());

  PushTokenRegistration registration(device, *kind, token, environment, std::nullopt);
  registration.pushKey = with.relays.pushKey(registration.token, environment);
  PushRecord record(registration);
  std::map<AgentProvider, std::exception_ptr> errors;
  for (const Connection& connection : connections) {
    try {
      with.relays.registerPushToken(registration, connection);
      record.agents.push_back(connection.provider);
      with.output.line(std::string(displayName(connection.provider)) + "'s relay has the token.");
    } catch (...) {
      if (describe(std::current_exception()).code == ExitCode::interrupted) throw;
      errors[connection.provider] = std::current_exception();
    }
  }
  record.errors = errorRecords(errors);
  if (with.output.isJSON) with.output.json(record);
  if (!errors.empty()) with.output.line(errorReport(errors, with.output.style));
  return exitCodeOf(errors, connections.size());
}

}  // namespace idlewyn::command
