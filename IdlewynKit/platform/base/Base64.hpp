// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string_view>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>

namespace idlewyn::platform {

/// Decodes standard base64 (RFC 4648, section 4) with no tolerance: a character outside the
/// alphabet, white space, missing padding or "=" anywhere but at the end gives no value.
/// Unused bits of the last group are not examined. The empty text gives no bytes.
IDLEWYNKIT_EXPORT std::optional<Data> decodeBase64(std::string_view text);

}  // namespace idlewyn::platform
