// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/internal/ProcessKeychain.hpp>

#include <memory>

#include <IdlewynKit/storage/AppGroup.hpp>

namespace idlewyn::internal {

std::vector<std::string> grantedAccessGroups(const platform::Bundle& application) {
  constexpr std::string_view key = "KeychainAccessGroups";
  if (!application.contains(key)) return {std::string(AppGroup::identifier)};
  return application.texts(key).value_or(std::vector<std::string>());
}

platform::Keychain& processKeychain() {
  static const auto& keychain = *new std::shared_ptr<platform::Keychain>(
      platform::Keychain::open(grantedAccessGroups(platform::Bundle::main())));
  return *keychain;
}

}  // namespace idlewyn::internal
