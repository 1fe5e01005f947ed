// SPDX-License-Identifier: MIT
#include <tools/relay/agents/ShellWords.hpp>

#include <algorithm>
#include <array>

namespace idlewyn::relay {
namespace {

/// Outside quotes these and letters and digits are only themselves.
constexpr std::string_view plain = "_-./:=@%+,";

bool isPlain(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         plain.find(c) != std::string_view::npos || static_cast<unsigned char>(c) >= 0x80;
}

/// Appends what stands between double quotes; `at` is behind the first quote. False for an open
/// quote and for what a shell would expand.
bool takeDoubleQuoted(std::string_view line, std::size_t& at, std::string& word) {
  for (; at < line.size(); ++at) {
    const char c = line[at];
    if (c == '"') return ++at, true;
    if (c == '$' || c == '`' || c == '!') return false;
    if (c != '\\') {
      word += c;
      continue;
    }
    if (++at >= line.size()) return false;
    constexpr std::string_view escaped = "\"\\$`";
    if (escaped.find(line[at]) == std::string_view::npos) word += '\\';
    word += line[at];
  }
  return false;
}

bool takeSingleQuoted(std::string_view line, std::size_t& at, std::string& word) {
  const std::size_t end = line.find('\'', at);
  if (end == std::string_view::npos) return false;
  word.append(line.substr(at, end - at));
  at = end + 1;
  return true;
}

bool takeWord(std::string_view line, std::size_t& at, std::string& word) {
  while (at < line.size() && line[at] != ' ') {
    const char c = line[at++];
    if (c == '\'') {
      if (!takeSingleQuoted(line, at, word)) return false;
    } else if (c == '"') {
      if (!takeDoubleQuoted(line, at, word)) return false;
    } else if (c == '\\' && at < line.size() && line[at] != '\n') {
      word += line[at++];
    } else if (isPlain(c)) {
      word += c;
    } else {
      return false;
    }
  }
  return true;
}

bool isShell(std::string_view program) {
  constexpr std::array<std::string_view, 7> shells{
      "bash", "sh", "zsh", "/bin/bash", "/bin/sh", "/bin/zsh", "/usr/bin/bash"};
  return std::find(shells.begin(), shells.end(), program) != shells.end();
}

}  // namespace

std::optional<std::vector<std::string>> shellWords(std::string_view line) {
  std::vector<std::string> words;
  for (std::size_t at = 0; at < line.size();) {
    if (line[at] == ' ') {
      ++at;
      continue;
    }
    if (!takeWord(line, at, words.emplace_back())) return std::nullopt;
  }
  return words;
}

std::string scriptOf(std::string_view line) {
  const auto words = shellWords(line);
  const bool isScript = words && words->size() == 3 && isShell((*words)[0]) &&
                        ((*words)[1] == "-lc" || (*words)[1] == "-c");
  return isScript ? (*words)[2] : std::string(line);
}

}  // namespace idlewyn::relay
