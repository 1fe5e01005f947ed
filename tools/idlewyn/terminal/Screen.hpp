// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <termios.h>

namespace idlewyn::command {

struct TerminalSize {
  std::size_t rows;
  std::size_t columns;
};

/// The text as rows of the terminal: what is too wide goes on in the next row. Codes of colour
/// take no room.
std::vector<std::string> rowsOf(std::string_view text, std::size_t columns);

/// The columns that a row takes.
std::size_t widthOfRow(std::string_view row);

/// The last lines of a terminal, drawn again and again in their place; what stood above stays.
/// While it lives, the cursor is hidden and keys are not echoed.
class Screen {
 public:
  /// Standard output is a terminal that knows the codes for this.
  static bool isPossible();

  Screen() { enter(); }
  ~Screen() { leave(); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  static TerminalSize size();

  /// Rows that the terminal has no room for are left out, which its last row then tells. The
  /// same as was drawn last writes nothing.
  void draw(std::string_view text);

  /// Gives the terminal back as it was, with what was drawn last above the cursor, and takes it
  /// again: around a stop of this process, say.
  void leave();
  void enter();

 private:
  std::string upToFirstRow(std::size_t columns) const;
  void echo(bool isOn);

  std::string drawn_;
  TerminalSize drawnAt_{0, 0};
  /// Of each row drawn: a terminal that is made narrower breaks them.
  std::vector<std::size_t> widths_;
  termios modes_{};
  bool isSilent_ = false;
};

}  // namespace idlewyn::command
