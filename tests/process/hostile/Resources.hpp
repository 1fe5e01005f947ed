// SPDX-License-Identifier: MIT
#pragma once

#include <malloc.h>

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

/// There where a sanitizer has the heap.
extern "C" [[gnu::weak]] std::size_t __sanitizer_get_current_allocated_bytes();

struct Resources {
  static Resources present() {
    Resources now;
    now.descriptors = entries("/proc/self/fd");
    now.threads = entries("/proc/self/task");
    now.heapBytes = __sanitizer_get_current_allocated_bytes != nullptr
                        ? __sanitizer_get_current_allocated_bytes()
                        : mallinfo2().uordblks + mallinfo2().hblkhd;
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
           std::to_string(heapBytes / 1024) + " kB of heap, " + std::to_string(residentKilobytes) +
           " kB resident";
  }

  std::size_t descriptors = 0;
  std::size_t threads = 0;
  /// What was allocated and not freed, in all threads.
  std::size_t heapBytes = 0;
  long residentKilobytes = 0;

 private:
  static std::size_t entries(const char* folder) {
    const std::filesystem::directory_iterator begin(folder), end;
    return static_cast<std::size_t>(std::distance(begin, end));
  }
};

}  // namespace idlewyn::testing
