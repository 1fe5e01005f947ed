// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdio>
#include <string>

namespace idlewyn::bench {

/// node's `fetch`, in a process of its own that keeps its connections from run to run.
class NodeFetch {
 public:
  /// Whether there is a node that knows `fetch`.
  static bool isThere();

  /// TLS certificates are not looked at.
  explicit NodeFetch(const std::string& address);
  ~NodeFetch();
  NodeFetch(const NodeFetch&) = delete;
  NodeFetch& operator=(const NodeFetch&) = delete;

  /// Milliseconds, measured over there, for so many fetches at once and the parsing of their
  /// bodies. Ends the program when that fails.
  double fetch(std::size_t count);

 private:
  pid_t process_ = -1;
  FILE* input_ = nullptr;
  FILE* output_ = nullptr;
};

}  // namespace idlewyn::bench
