// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/paint/ShapePaths.hpp>

#include <algorithm>
#include <array>
#include <numbers>

namespace idlewyn::platform::internal {
namespace {

/// A quarter of |x|^2.5 + |y|^2 = 1 from (0, 1) to (1, 0), off by less than 0.0006: the control
/// and end points of four cubics.
constexpr std::array<std::array<Point, 3>, 4> quarter{{
    {{{0.17441, 1.00000}, {0.30932, 0.98670}, {0.45000, 0.92960}}},
    {{{0.56898, 0.88131}, {0.66881, 0.80818}, {0.75000, 0.71614}}},
    {{{0.82926, 0.62628}, {0.88893, 0.52037}, {0.93000, 0.40733}}},
    {{{0.97720, 0.27743}, {1.00000, 0.13778}, {1.00000, 0.00000}}},
}};

/// How long a continuous end is, for a capsule of half height 1.
constexpr double stretch = 1.25;

/// The two quarters of the end at the right of `centre`, from its top to its bottom; `along` is
/// negative for the end at the left, from bottom to top.
void addEnd(cairo_t* target, Point centre, double along, double across) {
  const auto at = [&](Point p, double side) {
    return Point{centre.x + along * p.x, centre.y + side * across * p.y};
  };
  for (const auto& curve : quarter) {
    const Point a = at(curve[0], -1);
    const Point b = at(curve[1], -1);
    const Point c = at(curve[2], -1);
    cairo_curve_to(target, a.x, a.y, b.x, b.y, c.x, c.y);
  }
  for (std::size_t index = quarter.size(); index-- > 0;) {
    const Point a = at(quarter[index][1], 1);
    const Point b = at(quarter[index][0], 1);
    const Point c = at(index == 0 ? Point{0, 1} : quarter[index - 1][2], 1);
    cairo_curve_to(target, a.x, a.y, b.x, b.y, c.x, c.y);
  }
}

}  // namespace

void addCapsule(cairo_t* target, const Rect& rect, bool isContinuous) {
  const bool isUpright = rect.size.height > rect.size.width;
  const double length = std::max(rect.size.width, rect.size.height);
  const double radius = std::min(rect.size.width, rect.size.height) / 2;
  const Point centre = rect.centre();
  cairo_matrix_t before;
  cairo_get_matrix(target, &before);
  cairo_translate(target, centre.x, centre.y);
  if (isUpright) cairo_rotate(target, std::numbers::pi / 2);
  const double end = std::min(isContinuous ? stretch * radius : radius, length / 2);
  const double middle = length / 2 - end;
  cairo_new_sub_path(target);
  if (isContinuous) {
    cairo_move_to(target, middle, -radius);
    addEnd(target, {middle, 0}, end, radius);
    cairo_line_to(target, -middle, radius);
    addEnd(target, {-middle, 0}, -end, -radius);
  } else {
    cairo_arc(target, middle, 0, radius, -std::numbers::pi / 2, std::numbers::pi / 2);
    cairo_arc(target, -middle, 0, radius, std::numbers::pi / 2, 3 * std::numbers::pi / 2);
  }
  cairo_close_path(target);
  cairo_set_matrix(target, &before);
}

void addRectangle(cairo_t* target, const Rect& rect, double cornerRadius) {
  const double radius = std::min({cornerRadius, rect.size.width / 2, rect.size.height / 2});
  if (!(radius > 0)) {
    cairo_rectangle(target, rect.left(), rect.top(), rect.size.width, rect.size.height);
    return;
  }
  constexpr double right = std::numbers::pi / 2;
  cairo_new_sub_path(target);
  cairo_arc(target, rect.right() - radius, rect.top() + radius, radius, -right, 0);
  cairo_arc(target, rect.right() - radius, rect.bottom() - radius, radius, 0, right);
  cairo_arc(target, rect.left() + radius, rect.bottom() - radius, radius, right, 2 * right);
  cairo_arc(target, rect.left() + radius, rect.top() + radius, radius, 2 * right, 3 * right);
  cairo_close_path(target);
}

}  // namespace idlewyn::platform::internal
