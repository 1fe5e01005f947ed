// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/terminal/Output.hpp>

namespace idlewyn::command {

/// The narrator of a demonstration: numbered steps, what was seen in each, and the tour's end
/// when a step did not show what it must.
class Tour {
 public:
  explicit Tour(Output& output) : output_(output), style_(output.style) {
    if (style_.width) style_.width = *style_.width > margin ? *style_.width - margin : 1;
  }

  void step(std::string_view title) {
    if (steps_ > 0) output_.line();
    output_.line(
        toned(std::to_string(++steps_) + "  " + std::string(title), Tone::strong, output_.style));
    output_.finish();
  }

  /// One or more lines.
  void show(std::string_view text) {
    if (text.empty()) return output_.line();
    while (true) {
      const auto end = text.find('\n');
      output_.line(std::string(margin, ' ') + std::string(text.substr(0, end)));
      if (end == std::string_view::npos) return;
      text.remove_prefix(end + 1);
    }
  }

  void expect(bool seen, const std::string& what) const {
    if (seen) return;
    throw Failure(ExitCode::failure, "demo",
                  "Step " + std::to_string(steps_) + " did not show that " + what + ".");
  }

  /// For what is shown inside the margin.
  const Style& style() const noexcept { return style_; }

 private:
  static constexpr std::size_t margin = 3;

  Output& output_;
  Style style_;
  int steps_ = 0;
};

}  // namespace idlewyn::command
