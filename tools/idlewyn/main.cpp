// SPDX-License-Identifier: MIT
#include <tools/idlewyn/commands/CommandLine.hpp>

int main(int argc, char** argv) {
  return static_cast<int>(idlewyn::command::runCommandLine(argc, argv));
}
