// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <vector>

#include "Faults.hpp"
#include "HTTP.hpp"
#include "Stream.hpp"

/// How an answer reaches the peer, faults included.
///
///     if (!deliver(stream, answer, delivery)) stream.finish();
namespace idlewyn::sandbox {

struct PlannedAnswer {
  explicit PlannedAnswer(HTTPAnswer response) : response(std::move(response)) {}

  HTTPAnswer response;
  std::vector<Fault> faults;
  /// Called when the answer has been written.
  std::function<void()> afterwards;
};

struct DeliveryOptions {
  DeliveryOptions(bool keepAlive, bool headOnly) : keepAlive(keepAlive), headOnly(headOnly) {}

  bool keepAlive;
  /// The request was a HEAD: everything but the body.
  bool headOnly;
};

/// Plays the answer's faults. False when the connection can't carry another request.
bool deliver(Stream& stream, PlannedAnswer answer, DeliveryOptions options);

}  // namespace idlewyn::sandbox
