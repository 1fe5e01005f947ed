// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "Output.hpp"

namespace idlewyn::command {

struct Cell {
  Cell(std::string_view text, Tone tone = Tone::plain) : text(text), tone(tone) {}

  std::string text;
  Tone tone;
};

/// Columns aligned by display width, cells escaped. On a terminal the last column is cut to
/// what fits, which shows as "…"; elsewhere nothing is cut.
///
///     Table table({"AGENT", "STATUS"});
///     table.add({Cell("Claude"), Cell("Working", Tone::active)});
///     output.line(table.text(output.style));
class Table {
 public:
  explicit Table(std::vector<std::string> headings);

  /// As many cells as headings.
  void add(std::vector<Cell> row);

  /// Without a line break at the end.
  std::string text(const Style& style) const;

 private:
  std::string rowText(const std::vector<Cell>& row, const Style& style) const;

  std::vector<std::vector<Cell>> rows_;
  std::vector<std::size_t> widths_;
};

/// The beginning of an escaped text that fits the columns, with "…" when it is cut.
std::string cutToWidth(std::string_view text, std::size_t columns);

}  // namespace idlewyn::command
