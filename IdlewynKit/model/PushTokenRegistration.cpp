// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/PushTokenRegistration.hpp>

#include <utility>

#include <IdlewynKit/platform/base/Hexadecimal.hpp>

namespace idlewyn {

PushTokenRegistration::PushTokenRegistration(std::string device, Kind tokenKind,
                                             const Data& tokenBytes, std::string pushEnvironment,
                                             std::optional<std::string> key)
    : deviceID(std::move(device)),
      kind(tokenKind),
      token(platform::hexadecimal(tokenBytes.bytes())),
      environment(std::move(pushEnvironment)),
      pushKey(std::move(key)) {}

}  // namespace idlewyn
