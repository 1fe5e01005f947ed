// SPDX-License-Identifier: MIT
#pragma once

#include <exception>
#include <string>
#include <string_view>

#include <tools/idlewyn/failure/Failure.hpp>

namespace idlewyn::command {

/// The failure of sending an answer. Where the relay may have taken the answer all the same,
/// because the failure came after the request may have left, the message says so, with the next
/// step.
Failure describeAnswering(const std::exception_ptr& error, std::string_view promptID);

/// True for an id of which a part between slashes is "." or "..": a proxy that resolves such
/// segments sends the answer to another address.
bool hasDotSegment(std::string_view promptID) noexcept;

/// What is said before such a prompt is answered.
std::string dotSegmentWarning();

}  // namespace idlewyn::command
