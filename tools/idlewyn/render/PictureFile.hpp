// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <IdlewynKit/platform/base/Data.hpp>

namespace idlewyn::command {

/// Replaces the file as a whole: a failure leaves what was there. Links are refused; a device or a
/// pipe is written to. Throws a Failure of kind "storage".
void writePicture(const platform::Data& picture, const std::string& file);

}  // namespace idlewyn::command
