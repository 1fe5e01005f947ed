// SPDX-License-Identifier: MIT
#include <tools/relay/sessions/Line.hpp>

namespace idlewyn::relay {

std::string oneLine(std::string_view text, std::size_t limit) {
  constexpr std::string_view blanks = " \t\r\n";
  constexpr std::string_view ellipsis = "\xE2\x80\xA6";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) return {};
  text.remove_prefix(begin);
  text = text.substr(0, text.find_first_of("\r\n"));
  std::string line;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte == '\t') line += ' ';
    if (byte >= 0x20 && byte != 0x7F) line += c;
  }
  line.erase(line.find_last_not_of(blanks) + 1);
  if (line.size() <= limit) return line;
  std::size_t end = limit > ellipsis.size() ? limit - ellipsis.size() : 0;
  while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80U)
    --end;
  return line.substr(0, end).append(ellipsis);
}

}  // namespace idlewyn::relay
