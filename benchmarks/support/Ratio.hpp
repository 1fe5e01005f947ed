// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <string>

/// Compares two ways to do the same in one interleaved run, so that a machine that slows down
/// slows both.
///
///     Comparisons comparisons(argc, argv);
///     comparisons.atMost("sorted, 1,000", 0.19, [&] { ours(); }, [&] { theirs(); });
///     return comparisons.finish();
namespace idlewyn::bench {

/// Keeps the compiler from leaving out what makes the value.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(&value) : "memory");
}

/// What `--check` holds, and what is wished for where that is out of reach so far.
struct Target {
  Target(double limit) : limit(limit), aim(limit) {}
  Target(double limit, double aim) : limit(limit), aim(aim) {}

  double limit, aim;
};

class Comparisons {
 public:
  Comparisons(int argc, char** argv);

  /// The subject takes at most so many times as long as the baseline.
  void atMost(const std::string& name, Target target, const std::function<void()>& subject,
              const std::function<void()>& baseline);
  /// The subject is at least so many times as fast as the baseline.
  void timesFaster(const std::string& name, Target target, const std::function<void()>& subject,
                   const std::function<void()>& baseline);
  /// A value measured otherwise is at most that.
  void value(const std::string& name, Target target, double measured);

  /// The exit status: 0 unless `--check` was given and a limit was missed.
  int finish() const;

 private:
  /// Counts, and says what is to be said of a figure.
  std::string verdict(bool isHeld, bool isAsWished, double aim);

  int rounds_ = 41;
  bool isChecked_ = false;
  int missed_ = 0;
  int shortOfAim_ = 0;
};

}  // namespace idlewyn::bench
