// SPDX-License-Identifier: MIT
#include <tools/relay/commands/CommandLine.hpp>

int main(int argc, char** argv) { return idlewyn::relay::runCommandLine(argc, argv); }
