// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/Screen.hpp>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

#include <tools/idlewyn/terminal/CodePoint.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>

namespace idlewyn::command {
namespace {

constexpr std::string_view hideCursor = "\x1b[?25l", showCursor = "\x1b[?25h";
constexpr std::string_view toLineEnd = "\x1b[K", toScreenEnd = "\x1b[J", plain = "\x1b[0m";

void writeAll(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return;  // the next round notices on the stream
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

// The length of the code of colour that the text begins with, or 0.
std::size_t codeLength(std::string_view text) {
  if (!text.starts_with("\x1b[")) return 0;
  const auto end = text.find('m');
  return end == std::string_view::npos ? 0 : end + 1;
}

void appendRows(std::vector<std::string>& rows, std::string_view line, std::size_t columns) {
  rows.emplace_back();
  std::size_t width = 0;
  while (!line.empty()) {
    std::size_t length = codeLength(line);
    if (length == 0) {
      length = firstCodePoint(line).length;
      const std::size_t wide = displayWidth(line.substr(0, length));
      if (width + wide > columns && width > 0) {
        rows.emplace_back();
        width = 0;
      }
      width += wide;
    }
    rows.back() += line.substr(0, length);
    line.remove_prefix(length);
  }
}

// One row less than the terminal has: the cursor needs the last.
void cutToHeight(std::vector<std::string>& rows, std::size_t height) {
  const std::size_t room = std::max<std::size_t>(height, 2) - 1;
  if (rows.size() <= room) return;
  const std::size_t left = rows.size() - room + 1;
  rows.resize(room - 1);
  rows.push_back(std::string(plain) + "… " + std::to_string(left) + " more");
}

}  // namespace

std::vector<std::string> rowsOf(std::string_view text, std::size_t columns) {
  std::vector<std::string> rows;
  while (true) {
    const auto end = text.find('\n');
    appendRows(rows, text.substr(0, end), std::max<std::size_t>(columns, 1));
    if (end == std::string_view::npos) return rows;
    text.remove_prefix(end + 1);
  }
}

std::size_t widthOfRow(std::string_view row) {
  std::string bare;
  while (!row.empty()) {
    const std::size_t code = codeLength(row);
    const std::size_t length = code > 0 ? code : firstCodePoint(row).length;
    if (code == 0) bare += row.substr(0, length);
    row.remove_prefix(length);
  }
  return displayWidth(bare);
}

bool Screen::isPossible() {
  const char* term = std::getenv("TERM");
  return isatty(STDOUT_FILENO) == 1 && term != nullptr && std::string_view(term) != "dumb";
}

TerminalSize Screen::size() {
  winsize size{};
  const bool isKnown = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? TerminalSize{size.ws_row, size.ws_col} : TerminalSize{24, 80};
}

std::string Screen::upToFirstRow(std::size_t columns) const {
  std::size_t rows = 0;
  for (const std::size_t width : widths_)
    rows += std::max<std::size_t>((width + columns - 1) / columns, 1);
  return rows == 0 ? "\r" : "\r\x1b[" + std::to_string(rows) + "A";
}

void Screen::draw(std::string_view text) {
  const TerminalSize size = Screen::size();
  if (text == drawn_ && size.rows == drawnAt_.rows && size.columns == drawnAt_.columns) return;
  auto rows = rowsOf(text, size.columns);
  cutToHeight(rows, size.rows);
  std::string bytes = upToFirstRow(size.columns);
  widths_.clear();
  for (const std::string& row : rows) {
    bytes += row + std::string(toLineEnd) + "\n";
    widths_.push_back(widthOfRow(row));
  }
  writeAll(bytes + std::string(plain) + std::string(toScreenEnd));
  drawn_ = text;
  drawnAt_ = size;
}

void Screen::leave() {
  writeAll(showCursor);
  echo(true);
}

void Screen::enter() {
  // Whatever the terminal shows by now, it is drawn below that.
  drawn_.clear();
  widths_.clear();
  writeAll(hideCursor);
  echo(false);
}

// In the background the terminal is somebody else's, and asking would stop this process.
void Screen::echo(bool isOn) {
  if (tcgetpgrp(STDIN_FILENO) != getpgrp()) return;
  if (!isOn) {
    isSilent_ = tcgetattr(STDIN_FILENO, &modes_) == 0;
    if (!isSilent_) return;
    termios silent = modes_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    tcsetattr(STDIN_FILENO, TCSADRAIN, &silent);
  } else if (isSilent_) {
    isSilent_ = false;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &modes_);
  }
}

}  // namespace idlewyn::command
