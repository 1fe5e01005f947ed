// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <memory>
#include <vector>

#include <pango/pangocairo.h>

#include "views/Rows.hpp"

namespace idlewyn::bench {

/// What a programmer writes who has only this list to draw: one PangoLayout a text, places by
/// sums, symbols as paths.
class HandDrawn {
 public:
  HandDrawn();
  ~HandDrawn();
  HandDrawn(const HandDrawn&) = delete;
  HandDrawn& operator=(const HandDrawn&) = delete;

  void layOut(int round);
  void paint(cairo_t* target) const;

 private:
  struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
  };
  using Layout = std::unique_ptr<PangoLayout, Unref>;
  struct Text {
    Layout layout;
    double x, y, width, height;
  };
  struct Row {
    std::array<Text, 5> texts;
    double x, y, badgeX, badgeWidth, barX;
  };

  Text text(const std::string& bytes, int font, double width) const;
  Row row(const RowTexts& texts, double x, double y) const;

  std::unique_ptr<PangoContext, Unref> context_;
  std::array<PangoFontDescription*, 4> fonts_;
  std::vector<Row> rows_;
};

}  // namespace idlewyn::bench
