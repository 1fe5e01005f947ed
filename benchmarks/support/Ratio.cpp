// SPDX-License-Identifier: MIT
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <vector>

#include "support/Ratio.hpp"

namespace idlewyn::bench {
namespace {

constexpr double sampleSeconds = 0.005;

/// The thread's own time: what others do on the machine counts only by the cache.
double now() {
  timespec time{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double seconds(const std::function<void()>& run, long times) {
  const double begin = now();
  for (long i = 0; i < times; ++i)
    run();
  return now() - begin;
}

long timesForASample(const std::function<void()>& run) {
  run();
  long times = 1;
  double taken = seconds(run, times);
  while (taken < sampleSeconds) {
    times = std::max(times + 1, static_cast<long>(1.2 * static_cast<double>(times) *
                                                  std::min(sampleSeconds / taken, 10.0)));
    taken = seconds(run, times);
  }
  return times;
}

double quantile(std::vector<double>& values, double part) {
  const auto at = values.begin() + static_cast<long>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

struct Result {
  double ratio, low, high, best, subject, baseline;
};

Result compare(int rounds, const std::function<void()>& subject,
               const std::function<void()>& baseline) {
  const long subjectTimes = timesForASample(subject), baselineTimes = timesForASample(baseline);
  std::vector<double> ratios, subjects, baselines;
  for (int round = 0; round < rounds; ++round) {
    double a = 0, b = 0;
    if (round % 2 == 0) a = seconds(subject, subjectTimes);
    b = seconds(baseline, baselineTimes) / static_cast<double>(baselineTimes);
    if (round % 2 != 0) a = seconds(subject, subjectTimes);
    a /= static_cast<double>(subjectTimes);
    ratios.push_back(a / b);
    subjects.push_back(a);
    baselines.push_back(b);
  }
  return {quantile(ratios, 0.5),   quantile(ratios, 0.25),
          quantile(ratios, 0.75),  quantile(subjects, 0) / quantile(baselines, 0),
          quantile(subjects, 0.5), quantile(baselines, 0.5)};
}

}  // namespace

Comparisons::Comparisons(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    const std::string_view option = argv[i];
    if (option == "--check") isChecked_ = true;
    if (option == "--quick") rounds_ = 9;
  }
  // The first touch of a page costs more than the work on it: freed memory is kept, so that the
  // allocator and the kernel are not what is measured.
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  std::printf("%-42s %8s %17s %8s %8s %10s %10s\n", "", "median", "middle half", "best", "limit",
              "subject us", "baseline us");
}

std::string Comparisons::verdict(bool isHeld, bool isAsWished, double aim) {
  missed_ += isHeld ? 0 : 1;
  shortOfAim_ += isAsWished ? 0 : 1;
  char text[32] = "";
  if (!isHeld) return "  MISSED";
  if (!isAsWished) std::snprintf(text, sizeof text, "  aim: %g", aim);
  return text;
}

void Comparisons::atMost(const std::string& name, Target target,
                         const std::function<void()>& subject,
                         const std::function<void()>& baseline) {
  const Result r = compare(rounds_, subject, baseline);
  const std::string said = verdict(r.ratio <= target.limit, r.ratio <= target.aim, target.aim);
  std::printf("%-42s %8.3f %8.3f-%-8.3f %8.3f %8.3f %10.2f %10.2f%s\n", name.c_str(), r.ratio,
              r.low, r.high, r.best, target.limit, r.subject * 1e6, r.baseline * 1e6, said.c_str());
}

void Comparisons::timesFaster(const std::string& name, Target target,
                              const std::function<void()>& subject,
                              const std::function<void()>& baseline) {
  const Result r = compare(rounds_, subject, baseline);
  const double factor = 1 / r.ratio;
  const std::string said = verdict(factor >= target.limit, factor >= target.aim, target.aim);
  std::printf("%-42s %7.1fx %8.1f-%-8.1f %7.1fx %7.1fx %10.2f %10.2f%s\n", name.c_str(), factor,
              1 / r.high, 1 / r.low, 1 / r.best, target.limit, r.subject * 1e6, r.baseline * 1e6,
              said.c_str());
}

void Comparisons::value(const std::string& name, Target target, double measured) {
  const std::string said = verdict(measured <= target.limit, measured <= target.aim, target.aim);
  std::printf("%-42s %8.3f %17s %8s %8.3f%s\n", name.c_str(), measured, "", "", target.limit,
              said.c_str());
}

int Comparisons::finish() const {
  std::printf("%d missed, %d short of their aim\n", missed_, shortOfAim_);
  return isChecked_ && missed_ > 0 ? 1 : 0;
}

}  // namespace idlewyn::bench
