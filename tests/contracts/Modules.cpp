// SPDX-License-Identifier: MIT
#include <cstdlib>

// Before any test: where the modules of this build lie.
[[maybe_unused]] static const int isNamed = setenv("IDLEWYN_MODULES", IDLEWYN_TEST_MODULES, 1);

// GLib is not instrumented: what its threads do looks like races to the checker.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libglib-2.0.so\ncalled_from_lib:libgio-2.0.so\n"
         "called_from_lib:libgobject-2.0.so\ncalled_from_lib:libsecret-1.so\n";
}
