// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

namespace idlewyn::command {

/// A prompt's id as a word that can be pasted into a POSIX shell after `idlewyn allow`: quoted
/// where it needs that, and after `--` where it begins with a hyphen. What can't be seen in it is
/// written out, a form in which the command takes an id too.
std::string pasteableID(std::string_view id);

/// True for an id that needs no quoting in any shell.
bool isPlainWord(std::string_view text) noexcept;

}  // namespace idlewyn::command
