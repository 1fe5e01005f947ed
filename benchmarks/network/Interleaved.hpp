// SPDX-License-Identifier: MIT
#pragma once

#include <functional>

namespace idlewyn::bench {

/// Medians of samples that were taken by turns. The ratio is that of each pair.
struct Interleaved {
  double ratio, low, high;
  double subject, baseline;
};

/// `subject` and `baseline` give what one sample measured.
Interleaved interleave(int rounds, const std::function<double()>& subject,
                       const std::function<double()>& baseline);

/// Milliseconds of elapsed time that one of `times` runs takes.
double elapsed(int times, const std::function<void()>& run);

}  // namespace idlewyn::bench
