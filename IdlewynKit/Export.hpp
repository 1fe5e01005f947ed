// SPDX-License-Identifier: MIT
#pragma once

/// Marks what the shared library exports; everything else stays hidden in it.
#define IDLEWYNKIT_EXPORT __attribute__((visibility("default")))
