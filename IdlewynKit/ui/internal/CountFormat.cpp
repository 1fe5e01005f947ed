// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/internal/CountFormat.hpp>

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include <libintl.h>

namespace idlewyn::internal {
namespace {

using Counts = std::array<std::int64_t, 2>;

bool take(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

/// The conversions of one format, at least one: all numbered or none.
class CountFormatter {
 public:
  explicit CountFormatter(const Counts& counts) : counts_(counts) {}

  // The catalogue is a file that anyone may have written: printf would read the stack for it.
  std::optional<std::string> text(std::string_view format) {
    while (!format.empty()) {
      if (take(format, "%%")) {
        text_ += '%';
      } else if (take(format, "%")) {
        if (!convert(format)) return std::nullopt;
      } else {
        text_ += format.front();
        format.remove_prefix(1);
      }
    }
    if (!isNumbered_) return std::nullopt;
    return std::move(text_);
  }

 private:
  bool convert(std::string_view& rest) {
    const bool isFirst = take(rest, "1$");
    const bool isNumbered = isFirst || take(rest, "2$");
    for (const char* integer : {"lld", "lli", "ld", "li", "d", "i"}) {
      if (!take(rest, integer)) continue;
      return isNumbered ? append(isFirst ? 0 : 1, true) : append(next_++, false);
    }
    return false;
  }

  bool append(std::size_t index, bool isNumbered) {
    if (isNumbered_.value_or(isNumbered) != isNumbered || index >= counts_.size()) return false;
    isNumbered_ = isNumbered;
    text_ += std::to_string(counts_[index]);
    return true;
  }

  Counts counts_;
  std::string text_;
  std::optional<bool> isNumbered_;
  std::size_t next_ = 0;
};

}  // namespace

std::string countText(const char* format, std::int64_t first, std::int64_t second) {
  const Counts counts{first, second};
  if (auto text = CountFormatter(counts).text(gettext(format))) return *std::move(text);
  return CountFormatter(counts).text(format).value_or("");
}

}  // namespace idlewyn::internal
