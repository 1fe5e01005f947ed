// SPDX-License-Identifier: MIT
#pragma once

/// The whole of IdlewynKit::Core: pair, fetch, answer, detect, keep.
///
///     LiveSessionService service{RelayClient(URLSession::shared())};
///     Connection connection = wait(service.pair(AgentProvider::claude, link.serverURL, link.code,
///                                               link.certificatePin));
///     SnapshotResult result = wait(service.snapshot({connection}, SessionSnapshot::empty()));
#include <IdlewynKit/Version.hpp>
#include <IdlewynKit/demo/DemoSessions.hpp>
#include <IdlewynKit/errors/Problem.hpp>
#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/SessionTransition.hpp>
#include <IdlewynKit/model/SnapshotLead.hpp>
#include <IdlewynKit/platform/base/Hexadecimal.hpp>
#include <IdlewynKit/platform/base/ISO8601.hpp>
#include <IdlewynKit/platform/bundle/Bundle.hpp>
#include <IdlewynKit/platform/tasks/Wait.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>
#include <IdlewynKit/push/PushGatewayClient.hpp>
#include <IdlewynKit/relay/LiveSessionService.hpp>
#include <IdlewynKit/relay/PairingLink.hpp>
#include <IdlewynKit/relay/RelayError.hpp>
#include <IdlewynKit/security/CertificatePin.hpp>
#include <IdlewynKit/security/PinningDelegate.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/ConnectionStore.hpp>
#include <IdlewynKit/storage/SnapshotStore.hpp>

namespace idlewyn {

using platform::appendISO8601;
using platform::Bundle;
using platform::Data;
using platform::DateClock;
using platform::FractionOfSecond;
using platform::hexadecimal;
using platform::HTTPResponse;
using platform::parseISO8601;
using platform::URLError;
using platform::URLErrorCode;
using platform::URLQueryItem;
using platform::URLRequest;
using platform::wait;

}  // namespace idlewyn
