// SPDX-License-Identifier: MIT
#include "CommandLine.hpp"

int main(int argc, char** argv) {
  return static_cast<int>(idlewyn::command::runCommandLine(argc, argv));
}
