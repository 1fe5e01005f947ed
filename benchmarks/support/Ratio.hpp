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

class Comparisons {
 public:
  Comparisons(int argc, char** argv);

  /// Target: the subject takes at most `limit` times as long as the baseline.
  void atMost(const std::string& name, double limit, const std::function<void()>& subject,
              const std::function<void()>& baseline);
  /// Target: the subject is at least `factor` times as fast as the baseline.
  void timesFaster(const std::string& name, double factor, const std::function<void()>& subject,
                   const std::function<void()>& baseline);
  /// Target: a value measured otherwise is at most `limit`.
  void value(const std::string& name, double limit, double measured);

  /// The exit status: 0 unless `--check` was given and a target was missed.
  int finish() const;

 private:
  int rounds_ = 41;
  bool isChecked_ = false;
  int missed_ = 0;
};

}  // namespace idlewyn::bench
