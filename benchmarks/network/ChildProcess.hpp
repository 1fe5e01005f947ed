// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include "network/Sides.hpp"

namespace idlewyn::bench {

/// What a process that did nothing else measured of its first fetches.
struct Fresh {
  double coldMilliseconds = 0;
  /// The most memory that it ever held, after some more fetches.
  double peakMegabytes = 0;
  /// The most threads that it was seen to have.
  int threads = 0;
};

/// Runs this program again as such a process. Ends the program when that fails.
Fresh measureInChild(const std::string& side, const Relay& relay, std::size_t count);

/// Whether this process was started so, and what it does then.
bool isChild(int argc, char** argv);
int runAsChild(char** argv);

}  // namespace idlewyn::bench
