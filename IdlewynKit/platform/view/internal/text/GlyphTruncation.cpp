// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/GlyphTruncation.hpp>

#include <algorithm>

namespace idlewyn::platform::internal {
namespace {

bool isLetterOrSpace(char c) {
  return c == ' ' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// What remains of a line: `head` glyphs from its start and those from `tail` on.
class Cut {
 public:
  Cut(const ShapedText& whole, std::string_view text)
      : glyphs_(whole.runs().front().glyphs),
        text_(text),
        width_(whole.metrics().size.width),
        tail_(text.size()) {}

  std::size_t head() const noexcept { return head_; }
  std::size_t tail() const noexcept { return tail_; }

  double widthOfHead(std::size_t count) const {
    return count < glyphs_.size() ? glyphs_[count].x : width_;
  }
  double widthOfTail(std::size_t from) const { return width_ - widthOfHead(from); }

  void growHead(double room) {
    while (head_ < tail_ && widthOfHead(head_ + 1) <= room)
      ++head_;
  }
  void growTail(double room) {
    while (tail_ > head_ && widthOfTail(tail_ - 1) <= room)
      --tail_;
  }
  /// Faces for code join signs like "->": those are left out together.
  void leaveOutBrokenSigns() {
    while (head_ > 0 && isJoined(head_))
      --head_;
    while (tail_ < text_.size() && isJoined(tail_))
      ++tail_;
  }

 private:
  bool isJoined(std::size_t at) const {
    return at > 0 && at < text_.size() && !isLetterOrSpace(text_[at - 1]) &&
           !isLetterOrSpace(text_[at]);
  }

  const std::vector<cairo_glyph_t>& glyphs_;
  std::string_view text_;
  double width_;
  std::size_t head_ = 0;
  std::size_t tail_;
};

}  // namespace

std::optional<ShapedText> truncateGlyphs(const ShapedText& whole, std::string_view text,
                                         const ShapedText& ellipsis, double width,
                                         TruncationMode mode) {
  const bool isPlain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
  if (!isPlain || whole.runs().size() != 1 || ellipsis.runs().size() != 1) return std::nullopt;
  const GlyphRun& run = whole.runs().front();
  const GlyphRun& dots = ellipsis.runs().front();
  if (run.glyphs.size() != text.size() || run.font != dots.font) return std::nullopt;

  Cut cut(whole, text);
  const double room = width - ellipsis.metrics().size.width;
  if (mode == TruncationMode::tail) cut.growHead(room);
  if (mode == TruncationMode::middle) cut.growHead(room / 2);
  if (mode != TruncationMode::tail) cut.growTail(room - cut.widthOfHead(cut.head()));
  if (mode == TruncationMode::middle) cut.growHead(room - cut.widthOfTail(cut.tail()));
  cut.leaveOutBrokenSigns();

  GlyphRun kept{run.font, {}, run.hasColors};
  kept.glyphs.reserve(cut.head() + dots.glyphs.size() + text.size() - cut.tail());
  const auto at = [&run](std::size_t index) {
    return run.glyphs.begin() + static_cast<std::ptrdiff_t>(index);
  };
  kept.glyphs.assign(run.glyphs.begin(), at(cut.head()));
  const double end = cut.widthOfHead(cut.head());
  for (const cairo_glyph_t& dot : dots.glyphs)
    kept.glyphs.push_back({dot.index, dot.x + end, whole.metrics().baseline});
  const double shift = end + ellipsis.metrics().size.width - cut.widthOfHead(cut.tail());
  for (auto glyph = at(cut.tail()); glyph != run.glyphs.end(); ++glyph)
    kept.glyphs.push_back({glyph->index, glyph->x + shift, glyph->y});

  TextMetrics metrics = whole.metrics();
  metrics.size.width = end + ellipsis.metrics().size.width + cut.widthOfTail(cut.tail());
  metrics.isTruncated = true;
  return ShapedText(metrics, {std::move(kept)}, {});
}

}  // namespace idlewyn::platform::internal
