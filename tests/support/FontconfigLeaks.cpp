// SPDX-License-Identifier: MIT
// Fontconfig 2.14 loses 288 bytes when it reads its configuration, once a process.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so"; }
