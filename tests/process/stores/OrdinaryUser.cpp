// SPDX-License-Identifier: MIT
// Root may do everything: tests of what may not be done run as somebody else.
#include <grp.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdlib>

namespace {

const bool isOrdinaryUser = [] {
  constexpr unsigned nobody = 65534;
  if (geteuid() != 0) return true;
  if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0) std::abort();
  // As for a process that was this user's from the start: its own folder in /proc is its own.
  prctl(PR_SET_DUMPABLE, 1);
  return true;
}();

}  // namespace
