// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/Animation.hpp>

namespace idlewyn::platform {
namespace {

/// A coordinate of the cubic Bézier curve from 0 to 1 with the two control points between.
double bezier(double first, double second, double t) {
  const double rest = 1 - t;
  return 3 * rest * rest * t * first + 3 * rest * t * t * second + t * t * t;
}

}  // namespace

double Animation::progress(double time) const noexcept {
  if (!(time > 0)) return 0;
  if (time >= 1) return 1;
  // The curve (0.42, 0) (0.58, 1). Its time grows with t, so halving finds the t of a time.
  double least = 0;
  double most = 1;
  for (int step = 0; step < 40; ++step) {
    const double middle = (least + most) / 2;
    (bezier(0.42, 0.58, middle) < time ? least : most) = middle;
  }
  return bezier(0, 1, (least + most) / 2);
}

}  // namespace idlewyn::platform
