// SPDX-License-Identifier: MIT
#pragma once

#include "PromptNotices.hpp"
#include "Relays.hpp"
#include "SessionRecords.hpp"

namespace idlewyn::command {

/// Sends an answer that was given on the desktop, unless the prompt has ended or asks something
/// else by now; what came of it stands in the result. Throws a Failure only when interrupted.
WatchAnswerRecord sendAnswer(const NoticeAnswer& answer, const Connection& connection,
                             Relays& relays);

/// For people, a line.
std::string answerLine(const WatchAnswerRecord& answer);

}  // namespace idlewyn::command
