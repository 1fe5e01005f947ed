// SPDX-License-Identifier: MIT
#pragma once

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>

namespace idlewyn::command {

/// A picture of a whole snapshot: what matters most on top, then a card for each session in
/// display order. As wide as its columns, as tall as its cards; light and dark follow the
/// appearance. What comes from relays is escaped as it is on the terminal.
struct SessionCards {
  explicit SessionCards(SessionSnapshot snapshot);

  View body() const;

  SessionSnapshot snapshot;
};

}  // namespace idlewyn::command
