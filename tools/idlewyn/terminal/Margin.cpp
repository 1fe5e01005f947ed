// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/Margin.hpp>

#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/platform/text/Unicode.hpp>

#include <tools/idlewyn/terminal/DisplayWidth.hpp>

namespace idlewyn::command {
namespace {

constexpr std::string_view first = "│ ", further = "↪ ";
constexpr std::size_t marginWidth = 2, tabStop = 8, narrowest = 8;

// A terminal's tab stops are not the text's, which begins after the margin.
std::string withoutTabs(std::string_view line) {
  std::string text;
  std::size_t column = 0;
  platform::forEachCharacter(line, [&](std::string_view character) {
    const std::size_t wide =
        character == "\t" ? tabStop - column % tabStop : displayWidth(character);
    column += wide;
    if (character == "\t") {
      text.append(wide, ' ');
    } else {
      text += character;
    }
  });
  return text;
}

// The bytes of the line that fill a row. It ends before blanks, unless it has nothing else.
std::size_t rowLength(std::string_view line, std::size_t columns) {
  std::size_t length = 0, width = 0;
  bool isFull = false;
  platform::forEachCharacter(line, [&](std::string_view character) {
    width += displayWidth(character);
    isFull = isFull || (width > columns && length > 0);
    if (!isFull) length += character.size();
  });
  if (length == line.size()) return length;
  const std::size_t last = line.substr(0, length).find_last_not_of(' ');
  return last == std::string_view::npos ? length : last + 1;
}

std::vector<std::string> rowsOfLine(std::string_view line, std::size_t columns) {
  std::vector<std::string> rows;
  // A row takes at most so many bytes: a long line is not measured to its end for each row.
  constexpr std::size_t mostBytesPerColumn = 64;
  do {
    const std::size_t length =
        rowLength(line.substr(0, (columns + 1) * mostBytesPerColumn), columns);
    rows.emplace_back(line.substr(0, length));
    line.remove_prefix(length);
  } while (!line.empty());
  return rows;
}

}  // namespace

std::vector<std::string> behindMargin(std::string_view text, std::string_view indentation,
                                      std::optional<std::size_t> columns) {
  const std::string shown = displayBlock(text);
  const std::size_t margin = indentation.size() + marginWidth;
  std::vector<std::string> result;
  for (std::string_view rest = shown;;) {
    const std::size_t end = rest.find('\n');
    const std::string_view line = rest.substr(0, end);
    std::string_view mark = first;
    const auto rows =
        columns ? rowsOfLine(withoutTabs(line), std::max(*columns, margin + narrowest) - margin)
                : std::vector<std::string>{std::string(line)};
    for (const std::string& row : rows) {
      result.push_back(std::string(indentation) + std::string(mark) + row);
      mark = further;
    }
    if (end == std::string_view::npos) return result;
    rest.remove_prefix(end + 1);
  }
}

}  // namespace idlewyn::command
