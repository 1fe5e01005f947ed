// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/LineCollector.hpp>

#include <algorithm>

#include <hb-ot.h>
#include <hb.h>

#include <IdlewynKit/platform/view/internal/text/FontContext.hpp>

namespace idlewyn::platform::internal {
namespace {

double points(int units) { return static_cast<double>(units) / PANGO_SCALE; }

bool hasColors(PangoFont* font) {
  hb_face_t* face = hb_font_get_face(pango_font_get_hb_font(font));
  return hb_ot_color_has_png(face) || hb_ot_color_has_layers(face) || hb_ot_color_has_svg(face);
}

/// Pango makes the ellipsis as wide as the room that the line leaves.
int excessOfEllipsis(const PangoGlyphItem& item) {
  if ((item.item->analysis.flags & PANGO_ANALYSIS_FLAG_IS_ELLIPSIS) == 0) return 0;
  int excess = 0;
  for (int index = 0; index < item.glyphs->num_glyphs; ++index) {
    const PangoGlyphInfo& glyph = item.glyphs->glyphs[index];
    PangoRectangle natural;
    pango_font_get_glyph_extents(item.item->analysis.font, glyph.glyph, nullptr, &natural);
    excess += glyph.geometry.width - natural.width;
  }
  return std::max(excess, 0);
}

}  // namespace

void LineCollector::add(PangoLayoutLine* line, std::string_view text, double baseline) {
  const bool isRightToLeft = line->resolved_dir == PANGO_DIRECTION_RTL;
  lines_.push_back({runs_.size(), missing_.size(), 0, isRightToLeft});
  x_ = 0;
  for (GSList* node = line->runs; node != nullptr; node = node->next)
    addRun(*static_cast<PangoGlyphItem*>(node->data), text, baseline);
  lines_.back().width = x_;
  width_ = std::max(width_, x_);
}

void LineCollector::addRun(const PangoGlyphItem& item, std::string_view text, double baseline) {
  PangoFont* font = item.item->analysis.font;
  x_ += points(item.start_x_offset);
  const double shifted = baseline - points(item.y_offset);
  for (int index = 0; index < item.glyphs->num_glyphs; ++index) {
    PangoGlyphInfo glyph = item.glyphs->glyphs[index];
    const int wider = hasMonospacedDigits_ ? widening(item, index, text) : 0;
    glyph.geometry.x_offset += wider / 2;
    glyph.geometry.width += wider;
    place(glyph, font, shifted);
  }
  x_ += points(item.end_x_offset) - points(excessOfEllipsis(item));
}

void LineCollector::place(const PangoGlyphInfo& glyph, PangoFont* font, double baseline) {
  const double width = points(glyph.geometry.width);
  if ((glyph.glyph & PANGO_GLYPH_UNKNOWN_FLAG) != 0) {
    if (glyph.glyph != PANGO_GLYPH_INVALID_INPUT && width > 2)
      missing_.push_back({{x_ + 1, baseline - width}, {width - 2, width}});
  } else if (glyph.glyph != PANGO_GLYPH_EMPTY) {
    runOf(font).glyphs.push_back({glyph.glyph, x_ + points(glyph.geometry.x_offset),
                                  baseline + points(glyph.geometry.y_offset)});
  }
  x_ += width;
}

GlyphRun& LineCollector::runOf(PangoFont* font) {
  cairo_scaled_font_t* scaled = pango_cairo_font_get_scaled_font(PANGO_CAIRO_FONT(font));
  const bool isNew = runs_.size() == lines_.back().firstRun || runs_.back().font.get() != scaled;
  if (isNew)
    runs_.push_back({ScaledFont(cairo_scaled_font_reference(scaled), cairo_scaled_font_destroy),
                     {},
                     hasColors(font)});
  return runs_.back();
}

/// How much is missing until a digit is as wide as the widest one: for faces without digits of
/// one width.
int LineCollector::widening(const PangoGlyphItem& item, int index, std::string_view text) {
  const PangoGlyphInfo& glyph = item.glyphs->glyphs[index];
  const PangoAnalysis& analysis = item.item->analysis;
  if (!glyph.attr.is_cluster_start || (analysis.flags & PANGO_ANALYSIS_FLAG_IS_ELLIPSIS) != 0)
    return 0;
  const auto at = static_cast<std::size_t>(item.item->offset + item.glyphs->log_clusters[index]);
  if (at >= text.size()) return 0;
  const gunichar character = g_utf8_get_char(text.data() + at);
  if (!g_unichar_isdigit(character)) return 0;
  const auto value = static_cast<gunichar>(g_unichar_digit_value(character));
  const int widest = context_.widestDigit(analysis, character - value);
  return std::max(0, widest - glyph.geometry.width);
}

ShapedText LineCollector::finish(TextMetrics metrics) {
  for (std::size_t index = 0; index < lines_.size(); ++index) {
    const Line& line = lines_[index];
    const bool isLast = index + 1 == lines_.size();
    const double shift = width_ - line.width;
    if (!line.isRightToLeft || shift <= 0) continue;
    const std::size_t endOfRuns = isLast ? runs_.size() : lines_[index + 1].firstRun;
    for (std::size_t run = line.firstRun; run < endOfRuns; ++run)
      for (cairo_glyph_t& glyph : runs_[run].glyphs)
        glyph.x += shift;
    const std::size_t endOfMissing = isLast ? missing_.size() : lines_[index + 1].firstMissing;
    for (std::size_t at = line.firstMissing; at < endOfMissing; ++at)
      missing_[at].origin.x += shift;
  }
  metrics.size.width = width_;
  return {metrics, std::move(runs_), std::move(missing_)};
}

}  // namespace idlewyn::platform::internal
