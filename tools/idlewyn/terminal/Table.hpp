// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <tools/idlewyn/terminal/Output.hpp>

namespace idlewyn::command {

struct Cell {
  Cell(std::string_view text, Tone tone = Tone::plain) : text(text), tone(tone) {}

  std::string text;
  Tone tone;
};

/// How a table gives way on a narrow terminal, by columns that are not the last: some shrink,
/// and when that is not enough some are left out, in this order.
struct Narrowing {
  Narrowing() = default;
  Narrowing(std::vector<std::size_t> shrinking, std::vector<std::size_t> leaving)
      : shrinking(std::move(shrinking)), leaving(std::move(leaving)) {}

  std::vector<std::size_t> shrinking;
  std::vector<std::size_t> leaving;
};

/// Columns aligned by display width, cells escaped. What is cut shows as "…": the last column
/// on a terminal, to what fits; all others at 60 columns, for they are padded in every row.
///
///     Table table({"AGENT", "STATUS"});
///     table.add({Cell("Claude"), Cell("Working", Tone::active)});
///     output.line(table.text(output.style));
class Table {
 public:
  explicit Table(std::vector<std::string> headings, Narrowing narrowing = {});

  /// As many cells as headings.
  void add(std::vector<Cell> row);

  /// Without a line break at the end.
  std::string text(const Style& style) const;

 private:
  /// 0 leaves the column out.
  using Widths = std::vector<std::size_t>;
  Widths fittingWidths(std::size_t columns) const;
  static std::string rowText(const std::vector<Cell>& row, const Widths& widths,
                             const Style& style);

  const Narrowing narrowing_;
  std::vector<std::vector<Cell>> rows_;
  Widths widths_;
};

/// The beginning of an escaped text that fits the columns, with "…" when it is cut.
std::string cutToWidth(std::string_view text, std::size_t columns);

}  // namespace idlewyn::command
