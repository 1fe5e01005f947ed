// SPDX-License-Identifier: MIT
#include <tools/idlewyn/terminal/Output.hpp>

#include <cstdlib>

#include <sys/ioctl.h>
#include <unistd.h>

namespace idlewyn::command {
namespace {

std::string_view code(Tone tone) noexcept {
  switch (tone) {
    case Tone::plain: return "";
    case Tone::strong: return "1";
    case Tone::faint: return "2";
    case Tone::good: return "32";
    case Tone::bad: return "31";
    case Tone::attention: return "1;33";
    case Tone::active: return "36";
  }
  return "";
}

}  // namespace

bool usesColour(bool isTerminal, const char* noColor, const char* term) noexcept {
  const bool refused = noColor != nullptr && *noColor != '\0';
  const bool isDumb = term == nullptr || std::string_view(term) == "dumb";
  return isTerminal && !refused && !isDumb;
}

Style detectStyle() {
  Style style;
  const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  style.isColoured = usesColour(isTerminal, std::getenv("NO_COLOR"), std::getenv("TERM"));
  winsize size{};
  if (isTerminal && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    style.width = size.ws_col;
  }
  return style;
}

std::string toned(std::string_view text, Tone tone, const Style& style) {
  if (!style.isColoured || tone == Tone::plain || text.empty()) return std::string(text);
  return "\x1b[" + std::string(code(tone)) + "m" + std::string(text) + "\x1b[0m";
}

void Output::line(std::string_view text) {
  if (!isJSON) results_ << text << '\n';
}

void Output::note(std::string_view text) {
  if (!isJSON) notes_ << text << '\n' << std::flush;
}

bool Output::finish() {
  results_.flush();
  return results_.good();
}

}  // namespace idlewyn::command
