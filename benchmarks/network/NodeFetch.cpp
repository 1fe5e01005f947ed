// SPDX-License-Identifier: MIT
#include "network/NodeFetch.hpp"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace idlewyn::bench {

bool NodeFetch::isThere() {
  return std::system("node -e 'if (!globalThis.fetch) process.exit(1)' 2>/dev/null") == 0;
}

NodeFetch::NodeFetch(const std::string& address) {
  int toNode[2], fromNode[2];
  if (pipe2(toNode, O_CLOEXEC) != 0 || pipe2(fromNode, O_CLOEXEC) != 0) std::exit(2);
  process_ = fork();
  if (process_ == 0) {
    dup2(toNode[0], STDIN_FILENO);
    dup2(fromNode[1], STDOUT_FILENO);
    setenv("NODE_TLS_REJECT_UNAUTHORIZED", "0", 1);
    setenv("NODE_NO_WARNINGS", "1", 1);
    execlp("node", "node", IDLEWYN_NODE_PROGRAM, address.c_str(), nullptr);
    _exit(127);
  }
  close(toNode[0]);
  close(fromNode[1]);
  input_ = fdopen(toNode[1], "w");
  output_ = fdopen(fromNode[0], "r");
}

NodeFetch::~NodeFetch() {
  std::fclose(input_);
  std::fclose(output_);
  waitpid(process_, nullptr, 0);
}

double NodeFetch::fetch(std::size_t count) {
  double milliseconds = 0;
  std::fprintf(input_, "%zu\n", count);
  std::fflush(input_);
  if (std::fscanf(output_, "%lf", &milliseconds) == 1) return milliseconds;
  std::fputs("node gave no figure\n", stderr);
  std::exit(2);
}

}  // namespace idlewyn::bench
