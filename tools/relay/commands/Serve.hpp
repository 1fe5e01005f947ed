// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <vector>

/// The relay in the foreground.
namespace idlewyn::relay {

struct ServeOptions {
  std::string folder;
  /// Where hooks connect.
  std::string hookSocket;
  std::vector<std::string> codexFolders;
  /// Plain http, which is taken on loopback only unless the second says so.
  bool isPlain = false;
  bool isPlainOnNetwork = false;
};

/// Serves until SIGINT, SIGTERM or SIGHUP. Tells a service manager that it is ready (sd_notify).
/// Throws std::runtime_error when it can't begin.
void serve(const ServeOptions& options);

}  // namespace idlewyn::relay
