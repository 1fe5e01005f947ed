// SPDX-License-Identifier: MIT
#pragma once

/// The command `idlewyn-relay`.
namespace idlewyn::relay {

/// Runs the command named by the arguments. The exit status: 0, 1 for what went wrong, 2 for
/// arguments that can't be understood.
int runCommandLine(int argc, const char* const* argv);

}  // namespace idlewyn::relay
