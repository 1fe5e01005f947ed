// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <vector>

#include <IdlewynKit/model/AgentSession.hpp>

namespace idlewyn::bench {

/// The same sessions at every run: about 380 bytes of JSON each, optional fields mixed, escapes
/// and letters beyond ASCII in a tenth of the titles, a prompt in every tenth session.
std::vector<AgentSession> sampleSessions(std::size_t count);

}  // namespace idlewyn::bench
