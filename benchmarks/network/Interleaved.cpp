// SPDX-License-Identifier: MIT
#include "network/Interleaved.hpp"

#include <algorithm>
#include <chrono>
#include <vector>

namespace idlewyn::bench {
namespace {

double quantile(std::vector<double>& values, double part) {
  const auto at = values.begin() + static_cast<long>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

}  // namespace

Interleaved interleave(int rounds, const std::function<double()>& subject,
                       const std::function<double()>& baseline) {
  std::vector<double> ratios, subjects, baselines;
  for (int round = 0; round < rounds; ++round) {
    double a = 0, b = 0;
    if (round % 2 == 0) a = subject();
    b = baseline();
    if (round % 2 != 0) a = subject();
    ratios.push_back(a / b);
    subjects.push_back(a);
    baselines.push_back(b);
  }
  return {quantile(ratios, 0.5), quantile(ratios, 0.25), quantile(ratios, 0.75),
          quantile(subjects, 0.5), quantile(baselines, 0.5)};
}

double elapsed(int times, const std::function<void()>& run) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i)
    run();
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
  return taken.count() / times;
}

}  // namespace idlewyn::bench
