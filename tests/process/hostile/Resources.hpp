// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// What this process holds, as the kernel counts it.
///
///     const Resources before = Resources::present();
///     EXPECT_EQ(Resources::present().threads, before.threads);
namespace idlewyn::testing {

struct Resources {
  static Resources present() {
    Resources now;
    now.descriptors = entries("/proc/self/fd");
    now.threads = entries("/proc/self/task");
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
      if (word == "VmRSS:") status >> now.residentKilobytes;
    }
    return now;
  }

  /// Memory aside, which is never the same twice.
  bool holdsAsManyAs(const Resources& other) const {
    return descriptors == other.descriptors && threads == other.threads;
  }
  std::string text() const {
    return std::to_string(descriptors) + " descriptors, " + std::to_string(threads) + " threads, " +
           std::to_string(residentKilobytes) + " kB";
  }

  std::size_t descriptors = 0;
  std::size_t threads = 0;
  long residentKilobytes = 0;

 private:
  static std::size_t entries(const char* folder) {
    const std::filesystem::directory_iterator begin(folder), end;
    return static_cast<std::size_t>(std::distance(begin, end));
  }
};

}  // namespace idlewyn::testing
