// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/TextShaping.hpp>

#include <algorithm>
#include <cmath>

#include <IdlewynKit/platform/view/internal/FontContext.hpp>
#include <IdlewynKit/platform/view/internal/LineCollector.hpp>
#include <IdlewynKit/platform/view/internal/TextCache.hpp>
#include <IdlewynKit/platform/view/internal/TextPreparation.hpp>

namespace idlewyn::platform {
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

/// The lines of one text at one width.
class Shaping {
 public:
  Shaping(const ResolvedFont& font, const PreparedText& prepared, TruncationMode truncation)
      : context_(FontContext::current()),
        layout_(context_.layout()),
        prepared_(prepared),
        truncation_(truncation),
        collector_(context_, font.font.hasMonospacedDigits()) {
    pango_layout_set_font_description(layout_, font.description.get());
    PangoAttrList* attributes = nullptr;
    if (font.font.hasMonospacedDigits()) {
      attributes = pango_attr_list_new();
      pango_attr_list_insert(attributes, pango_attr_font_features_new("tnum=1"));
    }
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
    pango_layout_set_ellipsize(
        layout_, isSingleLine ? ellipsizeMode(truncation_) : PANGO_ELLIPSIZE_NONE);
    pango_layout_set_width(layout_, units(width));
  }

  void addEllipsized(std::string_view text, double width, double top) {
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

  /// Pango's own limit counts the lines of each paragraph, hence the last line apart.
  void addWrapped(int lines, double width) {
    setText(prepared_.text, false, width);
    const bool isOver = pango_layout_get_line_count(layout_) > lines;
    PangoLayoutIter* iterator = pango_layout_get_iter(layout_);
    std::optional<std::size_t> rest;
    double top = 0;
    for (int line = 0;; ++line) {
      PangoRectangle box;
      pango_layout_iter_get_line_extents(iterator, nullptr, &box);
      top = static_cast<double>(box.y) / PANGO_SCALE;
      PangoLayoutLine* current = pango_layout_iter_get_line_readonly(iterator);
      if (isOver && line == lines - 1) {
        rest = static_cast<std::size_t>(current->start_index);
        break;
      }
      const double baseline = pango_layout_iter_get_baseline(iterator) / double{PANGO_SCALE};
      if (line == 0) metrics_.baseline = baseline;
      collector_.add(current, prepared_.text, baseline);
      metrics_.size.height = top + static_cast<double>(box.height) / PANGO_SCALE;
      if (pango_layout_iter_next_line(iterator) == FALSE) break;
    }
    pango_layout_iter_free(iterator);
    if (rest) addRest(*rest, width, top);
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
  LineCollector collector_;
  TextMetrics metrics_;
};

std::shared_ptr<const ShapedText> shapeAnew(const TextRequest& request) {
  const double size = shapedSize(request.font, request.textScale);
  if (size <= 0) return std::make_shared<ShapedText>(TextMetrics{}, std::vector<GlyphRun>{},
                                                     std::vector<Rect>{});
  const int lines = std::clamp(request.lineLimit.value_or(maximumLines), 1, maximumLines);
  const double asked = request.width.value_or(maximumTextWidth);
  const double least = lines == 1 ? 0 : size;
  const double width =
      std::isnan(asked) ? maximumTextWidth : std::clamp(asked, least, maximumTextWidth);

  const ResolvedFont& font = FontContext::current().resolve(request.font, size);
  const PreparedText prepared = prepareText(request, size, width, lines);
  double room = width;
  for (int attempt = 0;; ++attempt) {
    ShapedText shaped = Shaping(font, prepared, request.truncation).shape(lines, room);
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

}  // namespace

std::shared_ptr<const ShapedText> shapeText(const TextRequest& request) {
  TextCache& cache = cacheOfThread();
  if (auto known = cache.find(request)) return known;
  if (request.width) {
    // A text that fits as it is needs no second shaping.
    TextRequest ideal = request;
    ideal.width.reset();
    const auto known = cache.find(ideal);
    if (known && !known->metrics().isTruncated && known->metrics().size.width <= *request.width)
      return known;
  }
  auto shaped = shapeAnew(request);
  cache.insert(request, shaped);
  return shaped;
}

const TextMetrics& metricsOf(const ShapedText& text) { return text.metrics(); }

}  // namespace idlewyn::platform
