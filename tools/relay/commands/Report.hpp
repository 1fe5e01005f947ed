// SPDX-License-Identifier: MIT
#pragma once

#include <ostream>

#include <tools/relay/agents/Json.hpp>

/// The relay's answers as people read them.
namespace idlewyn::relay {

void reportStatus(const json::Object& answer, std::ostream& out);
void reportDevices(const json::Object& answer, std::ostream& out);
void reportRules(const json::Object& answer, std::ostream& out);
/// The link, where it leads and, on a terminal, its QR code.
void reportLink(const json::Object& answer, bool withCode, std::ostream& out);

}  // namespace idlewyn::relay
