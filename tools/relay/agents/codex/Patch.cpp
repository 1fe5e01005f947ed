// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/Patch.hpp>

#include <array>

namespace idlewyn::relay::codex {

std::vector<std::string> patchedFiles(std::string_view patch) {
  constexpr std::array<std::string_view, 4> heads{
      "*** Add File: ", "*** Update File: ", "*** Delete File: ", "*** Move to: "};
  std::vector<std::string> files;
  while (!patch.empty()) {
    const std::size_t end = patch.find('\n');
    const std::string_view line = patch.substr(0, end);
    for (const std::string_view head : heads) {
      if (line.starts_with(head)) files.emplace_back(line.substr(head.size()));
    }
    if (end == std::string_view::npos) break;
    patch.remove_prefix(end + 1);
  }
  return files;
}

std::string patchDetail(std::string_view patch) {
  std::string detail;
  for (const std::string& file : patchedFiles(patch))
    detail += (detail.empty() ? "" : ", ") + file;
  if (!detail.empty()) detail.append("\n").append(patch);
  return detail;
}

}  // namespace idlewyn::relay::codex
