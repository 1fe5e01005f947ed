// SPDX-License-Identifier: MIT
#include "Table.hpp"

#include <algorithm>

#include "CodePoint.hpp"
#include "Escape.hpp"

namespace idlewyn::command {
namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t narrowestCut = 8;

}  // namespace

std::string cutToWidth(std::string_view text, std::size_t columns) {
  if (displayWidth(text) <= columns) return std::string(text);
  std::size_t kept = 0;
  for (std::size_t width = 0; kept < text.size();) {
    const CodePoint next = firstCodePoint(text.substr(kept));
    width += displayWidth(text.substr(kept, next.length));
    if (width + 1 > columns) break;
    kept += next.length;
  }
  return std::string(text.substr(0, kept)) + "…";
}

Table::Table(std::vector<std::string> headings) : widths_(headings.size(), 0) {
  std::vector<Cell> row;
  for (const std::string& heading : headings)
    row.emplace_back(heading, Tone::faint);
  add(std::move(row));
}

void Table::add(std::vector<Cell> row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    row[i].text = escaped(row[i].text);
    widths_[i] = std::max(widths_[i], displayWidth(row[i].text));
  }
  rows_.push_back(std::move(row));
}

std::string Table::rowText(const std::vector<Cell>& row, const Style& style) const {
  std::string line;
  std::size_t begin = 0;
  for (std::size_t i = 0; i + 1 < row.size(); ++i) {
    line += toned(row[i].text, row[i].tone, style);
    line.append(widths_[i] + gap - displayWidth(row[i].text), ' ');
    begin += widths_[i] + gap;
  }
  std::string last = row.back().text;
  if (style.width) {
    const std::size_t room = *style.width > begin ? *style.width - begin : 0;
    last = cutToWidth(last, std::max(room, narrowestCut));
  }
  line += toned(last, row.back().tone, style);
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::string Table::text(const Style& style) const {
  std::string text;
  for (const auto& row : rows_) {
    if (!text.empty()) text += '\n';
    text += rowText(row, style);
  }
  return text;
}

}  // namespace idlewyn::command
