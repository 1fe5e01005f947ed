// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/defaults/UserDefaults.hpp>

/// What the processes of the product have in common.
///
///     std::optional<Data> seen = AppGroup::userDefaults().data("lastSeen");
namespace idlewyn {

using platform::UserDefaults;

struct AppGroup {
  AppGroup() = delete;

  /// Names the shared defaults and the keychain's access group.
  static constexpr std::string_view identifier = "group.app.vantor.idlewyn";

  /// The group's defaults, or the process's standard ones when they can't be opened. Opened
  /// afresh at each call.
  IDLEWYNKIT_EXPORT static UserDefaults userDefaults();
};

}  // namespace idlewyn
