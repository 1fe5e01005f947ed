// SPDX-License-Identifier: MIT
// Whatever an item of the keychain holds loads, and a loaded list survives a save.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <IdlewynKit/storage/internal/ConnectionItem.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using fuzz::require;

namespace {

class OneItem : public platform::Keychain {
 public:
  using Status = platform::KeychainStatus;

  platform::KeychainMatch copyMatching(const platform::KeychainQuery&) override {
    platform::KeychainMatch match;
    if (item) match.status = Status::success;
    match.data = item;
    return match;
  }
  Status::Code add(const platform::KeychainQuery&, const platform::KeychainAttributes&) override {
    std::abort();  // there is an item whenever something is saved
  }
  Status::Code update(const platform::KeychainQuery&,
                      const platform::KeychainAttributes& attributes) override {
    item = attributes.value;
    return Status::success;
  }
  Status::Code remove(const platform::KeychainQuery&) override {
    item.reset();
    return Status::success;
  }

  std::optional<platform::Data> item;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const KeychainStore store("s");
  OneItem keychain;
  keychain.item = platform::Data::ofText(std::string(fuzz::asText(bytes, size)));
  const platform::Data before = *keychain.item;
  const auto connections = internal::loadConnections(keychain, store);
  require(keychain.item == before);
  internal::saveConnections(keychain, store, connections);
  require(keychain.item.has_value() != connections.empty());
  require(internal::loadConnections(keychain, store) == connections);
  return 0;
}
