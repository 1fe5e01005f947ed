// SPDX-License-Identifier: MIT
#pragma once

/// Marks what the shared library exports; everything else stays hidden in it.
#define IDLEWYNKIT_EXPORT __attribute__((visibility("default")))

/// Marks a view that must not outlive the object or argument that gave it: clang warns where a
/// temporary gave it. Other compilers have no such warning.
#ifdef __clang__
#define IDLEWYNKIT_LIFETIMEBOUND [[clang::lifetimebound]]
#else
#define IDLEWYNKIT_LIFETIMEBOUND
#endif
