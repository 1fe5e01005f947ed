// SPDX-License-Identifier: MIT
#pragma once

/// All tokens: lengths, colours and opacities, fonts, tints. Constants, the same on every thread.
///
///     static_assert(StatusIconSize::large == Layout::iconColumn);
#include <IdlewynKit/ui/tokens/Lengths.hpp>
#include <IdlewynKit/ui/tokens/Palette.hpp>
#include <IdlewynKit/ui/tokens/Tint.hpp>
#include <IdlewynKit/ui/tokens/Typography.hpp>
