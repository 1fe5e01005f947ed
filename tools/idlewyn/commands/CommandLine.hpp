// SPDX-License-Identifier: MIT
#pragma once

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {

/// The whole program: reads the arguments, runs one command, reports its failure.
ExitCode runCommandLine(int argc, const char* const* argv);

}  // namespace idlewyn::command
