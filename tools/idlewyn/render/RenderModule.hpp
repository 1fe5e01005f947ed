// SPDX-License-Identifier: MIT
#pragma once

#include <tools/idlewyn/render/Rendering.hpp>

namespace idlewyn::command {

/// Draws with the module, which is loaded at the first call and stays. Throws a Failure of kind
/// "picture" when it isn't there or can't draw this.
platform::Data render(const Rendering& rendering);

}  // namespace idlewyn::command
