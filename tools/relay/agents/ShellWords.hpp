// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Command lines as agents write them: words quoted for a POSIX shell.
///
///     scriptOf("/bin/bash -lc 'touch x.txt'");  // touch x.txt
namespace idlewyn::relay {

/// The words of a line that consists of nothing but words: no value for an open quote or for
/// a character that a shell would act on outside quotes.
std::optional<std::vector<std::string>> shellWords(std::string_view line);

/// What runs. Codex hands a script to a shell (`bash -lc SCRIPT`); then this is the script, as
/// the agent's own dialog shows it. Any other line is given back as it is.
std::string scriptOf(std::string_view line);

}  // namespace idlewyn::relay
