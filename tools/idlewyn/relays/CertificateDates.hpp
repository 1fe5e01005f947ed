// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <utility>

#include <IdlewynKit/platform/base/Data.hpp>
#include <IdlewynKit/platform/base/Date.hpp>

namespace idlewyn::command {

/// When an X.509 certificate is valid, from and until (RFC 5280, 4.1.2.5), read from its DER
/// bytes. Nothing when they are something else.
std::optional<std::pair<platform::Date, platform::Date>> validityOf(const platform::Data& der);

}  // namespace idlewyn::command
