// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/Table.hpp>

#include <algorithm>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/terminal/CodePoint.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>

namespace idlewyn::command {
namespace {

constexpr std::size_t gap = 2;
constexpr std::size_t widestPadded = 60;
constexpr std::size_t narrowestCut = 8;
constexpr std::size_t comfortableLast = 20;
constexpr std::size_t mostMarks = 8;

// Of a row, with the gaps behind columns that are shown.
std::size_t total(const std::vector<std::size_t>& widths) noexcept {
  std::size_t sum = 0;
  for (const std::size_t width : widths)
    sum += width == 0 ? 0 : width + gap;
  return widths.back() == 0 ? sum : sum - gap;
}

}  // namespace

// Marks fill no column, but no language puts more than a few on one character.
std::string cutToWidth(std::string_view text, std::size_t columns) {
  std::size_t kept = 0, width = 0, marks = 0;
  for (std::size_t end = 0; end < text.size();) {
    const CodePoint next = firstCodePoint(text.substr(end));
    const std::size_t wide = displayWidth(text.substr(end, next.length));
    marks = wide == 0 ? marks + 1 : 0;
    width += wide;
    if (width > columns || marks > mostMarks) return std::string(text.substr(0, kept)) + "…";
    end += next.length;
    if (width < columns) kept = end;
  }
  return std::string(text);
}

Table::Table(std::vector<std::string> headings, Narrowing narrowing)
    : narrowing_(std::move(narrowing)), widths_(headings.size(), 0) {
  std::vector<Cell> row;
  for (const std::string& heading : headings)
    row.emplace_back(heading, Tone::faint);
  add(std::move(row));
}

void Table::add(std::vector<Cell> row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    row[i].text = displayLine(row[i].text);
    if (i + 1 < row.size()) row[i].text = cutToWidth(row[i].text, widestPadded);
    widths_[i] = std::max(widths_[i], displayWidth(row[i].text));
  }
  rows_.push_back(std::move(row));
}

Table::Widths Table::fittingWidths(std::size_t columns) const {
  Widths least = widths_, widths = widths_;
  for (const std::size_t i : narrowing_.shrinking)
    least[i] = std::min(least[i], narrowestCut);
  least.back() = std::min(least.back(), narrowestCut);
  for (const std::size_t i : narrowing_.leaving) {
    if (total(least) > columns) least[i] = widths[i] = 0;
  }
  // The last one gets some room before the others get all that they ask for.
  widths.back() = std::min(widths.back(), comfortableLast);
  while (total(widths) > columns) {
    std::size_t* widest = nullptr;
    for (const std::size_t i : narrowing_.shrinking) {
      if (widths[i] > least[i] && (widest == nullptr || widths[i] > *widest)) widest = &widths[i];
    }
    if (widest == nullptr) break;
    --*widest;
  }
  widths.back() = 0;
  const std::size_t begin = total(widths);
  widths.back() = std::max(columns > begin ? columns - begin : 0, narrowestCut);
  return widths;
}

std::string Table::rowText(const std::vector<Cell>& row, const Widths& widths, const Style& style) {
  std::string line;
  for (std::size_t i = 0; i + 1 < row.size(); ++i) {
    if (widths[i] == 0) continue;
    const std::string text = cutToWidth(row[i].text, widths[i]);
    line += toned(text, row[i].tone, style);
    line.append(widths[i] + gap - displayWidth(text), ' ');
  }
  line += toned(cutToWidth(row.back().text, widths.back()), row.back().tone, style);
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

std::string Table::text(const Style& style) const {
  const Widths widths = style.width ? fittingWidths(*style.width) : widths_;
  std::string text;
  for (const auto& row : rows_) {
    if (!text.empty()) text += '\n';
    text += rowText(row, widths, style);
  }
  return text;
}

}  // namespace idlewyn::command
