// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <optional>

#include <IdlewynKit/platform/bundle/Bundle.hpp>
#include <IdlewynKit/push/PushGatewayClient.hpp>

namespace idlewyn::internal {

/// Makes clients other than the shared one.
struct PushGatewayMaker {
  /// The address in an application's information dictionary.
  static std::optional<URL> address(const platform::Bundle& application);
  static std::unique_ptr<PushGatewayClient> make(std::optional<URL> baseURL);
};

}  // namespace idlewyn::internal
