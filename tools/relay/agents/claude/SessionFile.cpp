// SPDX-License-Identifier: MIT
#include <tools/relay/agents/claude/SessionFile.hpp>

#include <algorithm>
#include <charconv>
#include <fstream>

#include <tools/relay/agents/Json.hpp>

namespace idlewyn::relay::claude {
namespace {

constexpr std::size_t largestFile = 64UL << 10U;

}  // namespace

bool isSessionFileName(std::string_view name) {
  constexpr std::string_view ending = ".json";
  if (name.size() <= ending.size() || !name.ends_with(ending)) return false;
  name.remove_suffix(ending.size());
  return std::all_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; });
}

std::optional<SessionFile> sessionFile(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  std::string text(largestFile, '\0');
  stream.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<std::size_t>(stream.gcount()));
  const auto document = json::parsed(text);
  if (!document || json::text(*document, "sessionId").empty()) return std::nullopt;
  SessionFile file;
  file.sessionID = json::text(*document, "sessionId");
  file.status = json::text(*document, "status");
  const std::string_view start = json::text(*document, "procStart");
  std::from_chars(start.data(), start.data() + start.size(), file.processStart);
  file.isInteractive = json::text(*document, "kind") == "interactive" &&
                       json::text(*document, "entrypoint") != "sdk-cli";
  return file;
}

}  // namespace idlewyn::relay::claude
