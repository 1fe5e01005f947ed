// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

#include <IdlewynKit/platform/view/internal/text/FontContext.hpp>
#include <IdlewynKit/platform/view/internal/text/GlyphTruncation.hpp>
#include <IdlewynKit/platform/view/internal/text/LineCollector.hpp>
#include <IdlewynKit/platform/view/internal/text/TextCache.hpp>
#include <IdlewynKit/platform/view/internal/text/TextPreparation.hpp>

namespace idlewyn::platform::internal {
namespace {

PangoEllipsizeMode ellipsizeMode(TruncationMode mode) {
  switch (mode) {
    case TruncationMode::head: return PANGO_ELLIPSIZE_START;
    case TruncationMode::middle: return PANGO_ELLIPSIZE_MIDDLE;
    case TruncationMode::tail: return PANGO_ELLIPSIZE_END;
  }
  return PANGO_ELLIPSIZE_END;
}

int units(double points) { return static_cast<int>(std::lround(points * PANGO_SCALE)); }

std::string featuresOf(const Font& font) {
  std::string features;
  if (font.hasMonospacedDigits()) features = "tnum=1";
  if (font.design() != FontDesign::monospaced) return features;
  if (!features.empty()) features += ", ";
  return features + "liga=0, clig=0, dlig=0, hlig=0, calt=0";
}

/// The lines of one text at one width.
class Shaping {
 public:
  Shaping(FontContext& context, const ResolvedFont& font, const PreparedText& prepared,
          TruncationMode truncation)
      : context_(context),
        layout_(context_.layout()),
        prepared_(prepared),
        truncation_(truncation),
        size_(font.size),
        collector_(context_, font.font.hasMonospacedDigits()) {
    pango_layout_set_font_description(layout_, font.description.get());
    PangoAttrList* attributes = pango_attr_list_new();
    // Where a word is broken Pango would draw a hyphen that is not in the text.
    pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
    const std::string features = featuresOf(font.font);
    if (!features.empty())
      pango_attr_list_insert(attributes, pango_attr_font_features_new(features.c_str()));
    pango_layout_set_attributes(layout_, attributes);
    pango_attr_list_unref(attributes);
    metrics_.capHeight = font.capHeight;
    metrics_.isTruncated = prepared.isCut;
  }

  ShapedText shape(int lines, double width) {
    if (lines == 1) {
      addEllipsized(prepared_.text, width, 0);
    } else {
      addWrapped(lines, width);
    }
    return collector_.finish(metrics_);
  }

 private:
  void setText(std::string_view text, bool isSingleLine, double width) {
    pango_layout_set_text(layout_, text.data(), static_cast<int>(text.size()));
    pango_layout_set_single_paragraph_mode(layout_, isSingleLine ? TRUE : FALSE);
    pango_layout_set_ellipsize(layout_,
                               isSingleLine ? ellipsizeMode(truncation_) : PANGO_ELLIPSIZE_NONE);
    // Without a width Pango works less. No byte takes more than four ems.
    const bool isNarrow = width == maximumTextWidth &&
                          static_cast<double>(text.size()) * size_ * 4 < maximumTextWidth;
    pango_layout_set_width(layout_, isNarrow ? -1 : units(width));
  }

  void addEllipsized(std::string_view text, double width, double top) {
    pango_layout_set_auto_dir(layout_, TRUE);
    setText(text, true, width);
    const double baseline = static_cast<double>(pango_layout_get_baseline(layout_)) / PANGO_SCALE;
    collector_.add(pango_layout_get_line_readonly(layout_, 0), pango_layout_get_text(layout_),
                   top + baseline);
    PangoRectangle box;
    pango_layout_get_extents(layout_, nullptr, &box);
    if (top == 0) metrics_.baseline = baseline;
    metrics_.size.height = top + static_cast<double>(box.height) / PANGO_SCALE;
    metrics_.isTruncated = metrics_.isTruncated || pango_layout_is_ellipsized(layout_) != FALSE;
  }

  /// In windows of some lines: Pango shapes the rest of a long word anew for each line of it.
  /// Its own line limit counts the lines of each paragraph, hence the last line apart.
  void addWrapped(int lines, double width) {
    const std::string_view text = prepared_.text;
    std::size_t start = 0;
    double top = 0;
    for (int line = 0;;) {
      const std::string_view window = windowAt(start, width);
      setText(window, false, width);
      const bool isLast = start + window.size() == text.size();
      const int count = pango_layout_get_line_count(layout_);
      const int complete = isLast ? count : std::max(1, count - 1);
      const bool isOver = line + count > lines || (!isLast && line + complete >= lines);
      const int taken = isOver ? std::min(complete, lines - 1 - line) : complete;
      const std::size_t next = addLines(window, taken, line == 0, top);
      line += taken;
      start += next;
      if (isOver && line == lines - 1) return addRest(start, width, top);
      if (isLast || next == 0) return;
    }
  }

  /// What follows within a paragraph keeps its direction and ends with it.
  std::string_view windowAt(std::size_t start, double width) {
    std::string_view text = std::string_view(prepared_.text).substr(start);
    const double charactersOfLine = width / (0.5 * size_);
    const auto most = static_cast<std::size_t>(std::max(16 * charactersOfLine, 128.0));
    const bool isInside = start > 0 && prepared_.text[start - 1] != '\n';
    pango_layout_set_auto_dir(layout_, isInside ? FALSE : TRUE);
    pango_context_set_base_dir(pango_layout_get_context(layout_), direction_);
    if (isInside) text = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    return leadingCharacters(text, most);
  }

  /// Adds the first `count` lines of the window and moves `top` below them. Returns where in the
  /// window the next line starts.
  std::size_t addLines(std::string_view window, int count, bool isFirst, double& top) {
    PangoLayoutIter* iterator = pango_layout_get_iter(layout_);
    const double above = top;
    std::size_t next = 0;
    for (int line = 0; line < count; ++line) {
      PangoRectangle box;
      pango_layout_iter_get_line_extents(iterator, nullptr, &box);
      PangoLayoutLine* current = pango_layout_iter_get_line_readonly(iterator);
      const double baseline = pango_layout_iter_get_baseline(iterator) / double{PANGO_SCALE};
      if (isFirst && line == 0) metrics_.baseline = baseline;
      collector_.add(current, window, above + baseline);
      direction_ = static_cast<PangoDirection>(current->resolved_dir);
      top = above + (box.y + box.height) / double{PANGO_SCALE};
      const bool isEnd = pango_layout_iter_next_line(iterator) == FALSE;
      next = isEnd ? window.size()
                   : static_cast<std::size_t>(
                         pango_layout_iter_get_line_readonly(iterator)->start_index);
    }
    pango_layout_iter_free(iterator);
    metrics_.size.height = top;
    return next;
  }

  void addRest(std::size_t start, double width, double top) {
    std::string text = prepared_.text.substr(start);
    std::replace(text.begin(), text.end(), '\n', ' ');
    addEllipsized(text, width, top);
  }

  FontContext& context_;
  PangoLayout* layout_;
  const PreparedText& prepared_;
  TruncationMode truncation_;
  double size_;
  PangoDirection direction_ = PANGO_DIRECTION_LTR;  ///< of the line before
  LineCollector collector_;
  TextMetrics metrics_;
};

std::shared_ptr<const ShapedText> shapeAnew(const TextRequest& request) {
  const double size = shapedSize(request.font, request.textScale);
  if (size <= 0)
    return std::make_shared<ShapedText>(TextMetrics{}, std::vector<GlyphRun>{},
                                        std::vector<Rect>{});
  const int lines = std::clamp(request.lineLimit.value_or(maximumLines), 1, maximumLines);
  const double asked = request.width.value_or(maximumTextWidth);
  const double least = lines == 1 ? 0 : size;
  const double width =
      std::isnan(asked) ? maximumTextWidth : std::clamp(asked, least, maximumTextWidth);

  FontContext& context = FontContext::current();
  const ResolvedFont& font = context.resolve(request.font, size);
  const PreparedText prepared = prepareText(request, size, width, lines);
  double room = width;
  for (int attempt = 0;; ++attempt) {
    ShapedText shaped = Shaping(context, font, prepared, request.truncation).shape(lines, room);
    // Widened digits may have made a line too long that Pango had fitted.
    const double excess = shaped.metrics().size.width - width;
    if (!request.font.hasMonospacedDigits() || excess < 0.01 || attempt == 2)
      return std::make_shared<ShapedText>(std::move(shaped));
    room = std::max(least, room - excess);
  }
}

TextCache& cacheOfThread() {
  thread_local TextCache cache;
  thread_local std::uint64_t generation = 0;
  const std::uint64_t current = FontContext::current().generation();
  if (generation != current) cache.clear();
  generation = current;
  return cache;
}

/// From the text as wide as it likes, which is known already or soon needed anyway: nothing is
/// shaped where it fits or where leaving out glyphs is enough.
std::shared_ptr<const ShapedText> shapeFromIdeal(const TextRequest& request, TextCache& cache) {
  constexpr std::size_t longest = 1024;
  TextRequest ideal = request;
  ideal.width.reset();
  const bool isLine = request.lineLimit.value_or(0) == 1 && request.text.size() <= longest &&
                      !request.font.hasMonospacedDigits();
  auto whole = isLine ? shapeText(ideal) : cache.find(ideal);
  if (whole == nullptr || whole->metrics().isTruncated || std::isnan(*request.width))
    return nullptr;
  if (whole->metrics().size.width <= *request.width) return whole;
  if (!isLine) return nullptr;
  ideal.text = "\u2026";
  auto cut =
      truncateGlyphs(*whole, request.text, *shapeText(ideal), *request.width, request.truncation);
  return cut ? std::make_shared<ShapedText>(std::move(*cut)) : nullptr;
}

}  // namespace

std::shared_ptr<const ShapedText> shapeText(const TextRequest& request) {
  TextCache& cache = cacheOfThread();
  if (auto known = cache.find(request)) return known;
  auto shaped = request.width ? shapeFromIdeal(request, cache) : nullptr;
  if (shaped == nullptr) {
    shaped = shapeAnew(request);
    cache.insert(request, shaped);
  }
  return shaped;
}

const TextMetrics& metricsOf(const ShapedText& text) { return text.metrics(); }

}  // namespace idlewyn::platform::internal
