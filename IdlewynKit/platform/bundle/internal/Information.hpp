// SPDX-License-Identifier: MIT
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace idlewyn::platform::internal {

using InformationValues = std::map<std::string, std::string, std::less<>>;

/// The JSON texts of a dictionary's values but null, by key; none unless the text is one JSON
/// object. Of a repeated key the first counts.
InformationValues informationValues(std::string_view text);

}  // namespace idlewyn::platform::internal
