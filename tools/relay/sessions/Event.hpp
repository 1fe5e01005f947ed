// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include <IdlewynKit/model/AgentProvider.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

/// One thing that happened in an agent's session, whoever noticed it.
///
///     list.apply(Event(EventKind::turnBegan, AgentProvider::codex, sessionID, now));
namespace idlewyn::relay {

using platform::Date;

enum class EventKind : std::uint8_t {
  /// The session exists. `text` is its title and `folder` its working directory, unless empty.
  seen,
  turnBegan,
  /// `text` is what the agent does now, unless empty.
  activity,
  /// `done` of `total` tasks; a total of 0 is no list of tasks.
  progress,
  /// A dialog stands at the terminal. `text` names it.
  waits,
  /// The dialogs with names that begin with `text` have gone, and those without a name.
  goesOn,
  /// `text` is what the agent said last, or what failed.
  finished,
  failed,
  interrupted,
  /// The session has gone.
  ended
};

struct Event {
  Event(EventKind kind, AgentProvider provider, std::string sessionID, Date at,
        std::string text = {}, std::string folder = {})
      : kind(kind),
        provider(provider),
        sessionID(std::move(sessionID)),
        at(at),
        text(std::move(text)),
        folder(std::move(folder)) {}

  EventKind kind;
  AgentProvider provider;
  std::string sessionID;
  Date at;
  std::string text;
  std::string folder;
  std::int64_t done = 0;
  std::int64_t total = 0;
};

}  // namespace idlewyn::relay
