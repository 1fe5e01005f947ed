// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

#include <tools/idlewyn/sessions/OldAgents.hpp>

namespace idlewyn::command {

/// A picture of a whole snapshot: what matters most on top, then a card for each session in
/// display order. As wide as its columns, as tall as its cards; light and dark follow the
/// appearance. What comes from relays is escaped as it is on the terminal.
struct SessionCards {
  SessionCards(SessionSnapshot snapshot, OldAgents old, Date now);

  View body() const;

  SessionSnapshot snapshot;
  /// Their sessions come last and are marked; what they asked is not shown.
  OldAgents old;
  Date now;
};

}  // namespace idlewyn::command
