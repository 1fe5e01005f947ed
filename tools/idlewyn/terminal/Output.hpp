// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace idlewyn::command {

/// What a piece of text is, for people; the colours are the terminal's own.
enum class Tone : std::uint8_t { plain, strong, faint, good, bad, attention, active };

struct Style {
  bool isColoured = false;
  /// Columns of the terminal; absent when the output is none.
  std::optional<std::size_t> width;
};

/// Colour is for terminals that understand it, unless `NO_COLOR` is set to something. The
/// arguments are the values of NO_COLOR and TERM, null when not set.
bool usesColour(bool isTerminal, const char* noColor, const char* term) noexcept;
/// Of standard output.
Style detectStyle();

/// `text` as it is, between the terminal's codes where the style has colours.
std::string toned(std::string_view text, Tone tone, const Style& style);

/// Where a command's results go: text for people, or one JSON document a line for programs.
class Output {
 public:
  Output(std::ostream& results, std::ostream& notes, Style style)
      : style(style), results_(results), notes_(notes) {}

  /// The caller has escaped what is foreign in it. With `isJSON` nothing is written.
  void line(std::string_view text = {});
  /// About the run rather than its result, on standard error; not with `isJSON` either.
  void note(std::string_view text);
  /// A record on one line.
  template <platform::Encodable T>
  void json(const T& record) {
    results_ << displayJSON(JSONEncoder::relay().encode(record).text()) << '\n' << std::flush;
  }

  /// A result that is no text. Written with `isJSON` too.
  void bytes(std::string_view bytes) { results_ << bytes; }

  /// False when a result could not be written.
  bool finish();

  const Style style;
  bool isJSON = false;

 private:
  std::ostream& results_;
  std::ostream& notes_;
};

}  // namespace idlewyn::command
