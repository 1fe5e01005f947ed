// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

namespace idlewyn::internal {

/// The indices of the sessions in display order: status rank, then later `updatedAt`, then
/// place in the list. A date that is not a number counts as the earliest.
std::vector<std::uint32_t> displayOrder(std::span<const AgentSession> sessions);

}  // namespace idlewyn::internal
