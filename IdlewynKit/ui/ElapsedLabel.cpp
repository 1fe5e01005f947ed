// SPDX-License-Identifier: MIT
#include <IdlewynKit/ui/ElapsedLabel.hpp>

#include <IdlewynKit/platform/view/Views.hpp>

namespace idlewyn {

using platform::Text;

ElapsedLabel::ElapsedLabel(std::optional<Date> runningSince, Date updatedAt)
    : runningSince(runningSince), updatedAt(updatedAt) {}

ElapsedLabel::ElapsedLabel(Date updatedAt) : ElapsedLabel(std::nullopt, updatedAt) {}

ElapsedLabel::ElapsedLabel(const AgentSession& session)
    : ElapsedLabel(session.runningSince(), session.updatedAt) {}

View ElapsedLabel::body() const {
  const bool isRunning = runningSince && *runningSince <= platform::distantFuture;
  return (isRunning ? Text::timer(*runningSince) : Text::relative(updatedAt)).monospacedDigits();
}

}  // namespace idlewyn
