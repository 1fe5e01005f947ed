// SPDX-License-Identifier: MIT
#pragma once

#include <tools/idlewyn/records/SessionRecords.hpp>
#include <tools/idlewyn/relays/Relays.hpp>
#include <tools/idlewyn/watch/PromptNotices.hpp>

namespace idlewyn::command {

/// Sends an answer that was given on the desktop, unless the prompt has ended or asks something
/// else by now; what came of it stands in the result. Throws a Failure only when interrupted.
WatchAnswerRecord sendAnswer(const NoticeAnswer& answer, const Connection& connection,
                             Relays& relays);

/// For people, a line.
std::string answerLine(const WatchAnswerRecord& answer);

}  // namespace idlewyn::command
