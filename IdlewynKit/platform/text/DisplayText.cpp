// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include <IdlewynKit/platform/text/internal/Joiners.hpp>
#include <IdlewynKit/platform/text/internal/Scalars.hpp>
#include <IdlewynKit/platform/text/internal/UnicodeTables.hpp>
#include <IdlewynKit/platform/text/internal/Visibility.hpp>

namespace idlewyn::platform {
namespace {

enum class Shape { line, block };

constexpr int mostMarks = 8;
constexpr std::size_t mostBlanksInLine = 3, mostBlanksInBlock = 8;
constexpr std::size_t mostIndentation = 40, tabStop = 8;  // columns

/// The result, and the character that is being written out with its count.
class Writer {
 public:
  explicit Writer(std::size_t size) { result_.reserve(size); }

  void show(char32_t value) {
    writePending();
    if (value < 0x80) {
      result_ += static_cast<char>(value);
    } else {
      appendScalar(value, result_);
    }
  }

  void writeOut(char32_t value) {
    if (count_ > 0 && value != pending_) writePending();
    pending_ = value;
    ++count_;
  }

  std::string take() {
    writePending();
    return std::move(result_);
  }

 private:
  void writePending() {
    if (count_ == 0) return;
    const bool isByte = pending_ >= firstStrayByte;
    const auto number = static_cast<unsigned>(isByte ? pending_ - firstStrayByte : pending_);
    std::array<char, 40> text{};
    if (count_ == 1) {
      std::snprintf(text.data(), text.size(), isByte ? "\\x{%02X}" : "\\u{%02X}", number);
    } else {
      std::snprintf(text.data(), text.size(), isByte ? "\\x{%02X*%zu}" : "\\u{%02X*%zu}", number,
                    count_);
    }
    result_ += text.data();
    count_ = 0;
  }

  std::string result_;
  char32_t pending_ = 0;
  std::size_t count_ = 0;
};

class Display {
 public:
  Display(std::string_view text, Shape shape)
      : scalars_(decodedScalars(text)), text_(scalars_), shape_(shape), writer_(text.size()) {}

  std::string run() {
    while (at_ < text_.size()) {
      if (isBlank(text_[at_])) {
        takeBlanks();
      } else if (isBlock() && text_[at_] == '\n') {
        takeLineBreak();
      } else if (const std::size_t length = tagSequenceLength(text_.substr(at_))) {
        takeTagSequence(length);
      } else {
        takeCharacter();
      }
    }
    return writer_.take();
  }

 private:
  bool isBlock() const noexcept { return shape_ == Shape::block; }
  bool isBlank(char32_t value) const noexcept {
    return value == ' ' || (isBlock() && value == '\t');
  }

  void takeLineBreak() {
    writer_.show('\n');
    ++at_;
    isLineStart_ = true;
    endCharacter();
  }

  void takeBlanks() {
    const auto notBlank = [this](char32_t value) { return !isBlank(value); };
    const auto begin = text_.begin() + static_cast<std::ptrdiff_t>(at_);
    const auto end = std::find_if(begin, text_.end(), notBlank);
    const bool isLineEnd = end == text_.end() || (isBlock() && *end == '\n');
    std::size_t used = 0, left = isLineEnd ? 0 : mostBlanks();
    for (auto at = begin; at != end; ++at) {
      used += widthOfBlank(*at, used);
      left = used > left ? 0 : left;  // what follows a blank that is written out is so too
      if (used <= left) {
        writer_.show(*at);
      } else {
        writer_.writeOut(*at);
      }
    }
    at_ = static_cast<std::size_t>(end - text_.begin());
    isLineStart_ = false;
    endCharacter();
  }

  std::size_t mostBlanks() const noexcept {
    if (!isBlock()) return mostBlanksInLine;
    return isLineStart_ ? mostIndentation : mostBlanksInBlock;
  }

  std::size_t widthOfBlank(char32_t blank, std::size_t column) const noexcept {
    return isLineStart_ && blank == '\t' ? tabStop - column % tabStop : 1;
  }

  void takeTagSequence(std::size_t length) {
    for (const char32_t value : text_.substr(at_, length))
      writer_.show(value);
    at_ += length;
    isLineStart_ = false;
    endCharacter();
  }

  void takeCharacter() {
    const char32_t value = text_[at_];
    isLineStart_ = false;
    if (isAttached(value) ? takesMark() : isVisible(value) ? !beginsEscape() : takesUnseen()) {
      if (!isAttached(value) && isVisible(value)) beginCharacter();
      writer_.show(value);
      hasBase_ = true;
    } else {
      writer_.writeOut(value);
      endCharacter();
    }
    ++at_;
  }

  bool takesMark() {
    if (!hasBase_ || !isVisible(text_[at_]) || !attachesTo(text_[at_ - 1], text_[at_]))
      return takesUnseen();
    return ++marks_ <= mostMarks;
  }

  /// A character that is not seen, but may belong to the one before it.
  bool takesUnseen() {
    if (!hasBase_) return false;
    if (!isJoiner(text_[at_])) return selectsVariation(text_, at_);
    if (isJoiner(text_[at_ - 1])) return false;
    if (joinsEmoji(text_, at_)) return ++joiners_ <= tables::mostEmojiJoiners();
    return shapesLetters(text_, at_);
  }

  /// True where a backslash, or what looks like one, would begin what looks like an escape.
  bool beginsEscape() const noexcept {
    if (!isLikeBackslash(text_[at_]) || at_ + 2 >= text_.size() || text_[at_ + 2] != '{')
      return false;
    const char32_t next = text_[at_ + 1];
    return next == 'u' || next == 'x' || next >= 0x80;
  }

  void beginCharacter() noexcept {
    marks_ = 0;
    if (!hasBase_ || !isJoiner(text_[at_ - 1])) joiners_ = 0;
  }

  void endCharacter() noexcept {
    hasBase_ = false;
    marks_ = joiners_ = 0;
  }

  std::u32string scalars_;
  std::u32string_view text_;
  Shape shape_;
  Writer writer_;
  std::size_t at_ = 0;
  bool isLineStart_ = true;
  bool hasBase_ = false;  // the character before stays, and is no blank
  int marks_ = 0;
  int joiners_ = 0;
};

void appendUTF16(char32_t value, std::string& text) {
  std::array<char, 16> units{};
  if (value < 0x10000) {
    std::snprintf(units.data(), units.size(), "\\u%04X", static_cast<unsigned>(value));
  } else {
    const auto rest = static_cast<unsigned>(value - 0x10000);
    std::snprintf(units.data(), units.size(), "\\u%04X\\u%04X", 0xD800 + (rest >> 10),
                  0xDC00 + (rest & 0x3FF));
  }
  text += units.data();
}

}  // namespace

std::string displayLine(std::string_view text) { return Display(text, Shape::line).run(); }

std::string displayBlock(std::string_view text) { return Display(text, Shape::block).run(); }

std::string displayJSON(std::string_view document) {
  constexpr char32_t replacement = 0xFFFD;
  std::string result;
  result.reserve(document.size());
  for (const char32_t value : decodedScalars(document)) {
    // White space may stand between values.
    if (value == '\n' || value == '\t' || value == '\r' || isVisible(value)) {
      appendScalar(value, result);
    } else {
      appendUTF16(value >= firstStrayByte ? replacement : value, result);
    }
  }
  return result;
}

}  // namespace idlewyn::platform
