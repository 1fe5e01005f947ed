// SPDX-License-Identifier: MIT
#include <tools/idlewyn/prompts/ShellWord.hpp>

#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace idlewyn::command {

bool isPlainWord(std::string_view text) noexcept {
  return !text.empty() && text.front() != '-' && std::ranges::all_of(text, [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
           std::string_view("-_.@+/").find(c) != std::string_view::npos;
  });
}

std::string pasteableID(std::string_view id) {
  if (isPlainWord(id)) return std::string(id);
  std::string word = id.starts_with('-') ? "-- '" : "'";
  for (const char c : displayLine(id))
    word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

}  // namespace idlewyn::command
