// SPDX-License-Identifier: MIT
#pragma once

/// The whole of IdlewynKit::Core: pair, fetch, answer, detect.
///
///     LiveSessionService service{RelayClient(URLSession::shared())};
///     Connection connection = wait(service.pair(link.serverURL, ...));
#include <IdlewynKit/Version.hpp>
#include <IdlewynKit/demo/DemoSessions.hpp>
#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/SessionTransition.hpp>
#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/relay/LiveSessionService.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/security/CertificatePin.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>

namespace idlewyn {

using platform::Data;
using platform::DateClock;
using platform::HTTPResponse;
using platform::URLError;
using platform::URLErrorCode;
using platform::URLQueryItem;
using platform::URLRequest;
using platform::wait;

}  // namespace idlewyn
