// SPDX-License-Identifier: MIT
#include "views/HandDrawn.hpp"

#include <cmath>

#include <IdlewynKit/platform/view/internal/paint/SymbolDrawing.hpp>

namespace idlewyn::bench {
namespace {

constexpr double gap = 4;

PangoFontDescription* font(const char* families, double size, int weight) {
  PangoFontDescription* description = pango_font_description_new();
  pango_font_description_set_family(description, families);
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  pango_font_description_set_weight(description, static_cast<PangoWeight>(weight));
  return description;
}

void fillCapsule(cairo_t* target, double x, double y, double width, double height) {
  const double radius = height / 2;
  cairo_new_path(target);
  cairo_arc(target, x + width - radius, y + radius, radius, -M_PI / 2, M_PI / 2);
  cairo_arc(target, x + radius, y + radius, radius, M_PI / 2, 3 * M_PI / 2);
  cairo_close_path(target);
  cairo_fill(target);
}

}  // namespace

HandDrawn::HandDrawn()
    : context_(pango_font_map_create_context(pango_cairo_font_map_get_default())) {
  constexpr const char* sans = "Inter,Cantarell,DejaVu Sans,sans-serif";
  fonts_ = {font(sans, 13, 500), font(sans, 10, 400),
            font("JetBrains Mono,DejaVu Sans Mono,monospace", 10, 400), font(sans, 10, 600)};
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(context_.get(), options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(context_.get(), FALSE);
}

HandDrawn::~HandDrawn() {
  rows_.clear();
  for (PangoFontDescription* description : fonts_)
    pango_font_description_free(description);
}

HandDrawn::Text HandDrawn::text(const std::string& bytes, int font, double width) const {
  Layout layout(pango_layout_new(context_.get()));
  pango_layout_set_font_description(layout.get(), fonts_[static_cast<std::size_t>(font)]);
  pango_layout_set_text(layout.get(), bytes.data(), static_cast<int>(bytes.size()));
  if (width > 0) {
    pango_layout_set_width(layout.get(), static_cast<int>(width * PANGO_SCALE));
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_MIDDLE);
  }
  int textWidth = 0, textHeight = 0;
  pango_layout_get_size(layout.get(), &textWidth, &textHeight);
  return {std::move(layout), 0, 0, textWidth / double{PANGO_SCALE},
          textHeight / double{PANGO_SCALE}};
}

HandDrawn::Row HandDrawn::row(const RowTexts& texts, double x, double y) const {
  Row row{{text(texts.title, 0, 0), text(texts.project, 1, 0), text(texts.badge, 3, 0),
           text(texts.activity, 2, columnWidth - 44 - 90), text(texts.count, 3, 0)},
          x,
          y,
          0,
          0,
          0};
  auto& [title, project, badge, activity, count] = row.texts;
  title.x = x + 20 * 1.2 + 2 * gap;
  title.y = y;
  row.badgeX = title.x + title.width + gap;
  badge.x = row.badgeX + 12 + 2 * gap;
  badge.y = y + 2;
  row.badgeWidth = 12 + 3 * gap + badge.width;
  const double second = y + title.height + 2;
  activity.x = title.x + 16;
  project.x = activity.x + activity.width + gap;
  row.barX = project.x;
  count.x = project.x + 32 + gap;
  activity.y = count.y = second;
  project.y = second + activity.height;
  return row;
}

void HandDrawn::layOut(int round) {
  rows_.clear();
  for (int index = 0; index < columns * rowsOfColumn; ++index)
    rows_.push_back(
        row(rowTexts(index, round), index % columns * columnWidth, index / columns * 44.0));
}

void HandDrawn::paint(cairo_t* target) const {
  using platform::SymbolName;
  for (const Row& row : rows_) {
    const auto& [title, project, badge, activity, count] = row.texts;
    cairo_set_source_rgb(target, 0, 0.4, 0.8);
    platform::internal::drawSymbol(target, SymbolName::checkmarkCircle, {{row.x, row.y}, {24, 24}});
    platform::internal::drawSymbol(target, SymbolName::terminal, {{title.x, activity.y}, {12, 12}});
    cairo_set_source_rgba(target, 0.3, 0.3, 0.4, 0.15);
    fillCapsule(target, row.badgeX, row.y, row.badgeWidth, badge.height + 4);
    fillCapsule(target, row.barX, activity.y + 4, 32, 4);
    cairo_set_source_rgb(target, 0.3, 0.3, 0.4);
    fillCapsule(target, row.barX, activity.y + 4, 12, 4);
    platform::internal::drawSymbol(target, SymbolName::sparkle,
                                   {{row.badgeX + gap, row.y + 2}, {12, 12}});
    for (const Text& text : row.texts) {
      cairo_move_to(target, text.x, text.y);
      pango_cairo_show_layout(target, text.layout.get());
    }
  }
}

}  // namespace idlewyn::bench
