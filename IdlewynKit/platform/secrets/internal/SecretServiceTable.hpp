// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// What crosses the border between the library and the module of the Secret Service: pointers that
/// are valid during a call, status codes, and no exceptions either way.
namespace idlewyn::platform::secretservice {

struct Address {
  std::string_view service;
  std::string_view account;
  std::string_view accessGroup;
};

struct Item {
  Address address;
  std::string_view value;
  bool isForWhenUnlocked;
  std::int64_t modified;
};

/// Called for each item that was found; once more when a listing had to be begun anew.
using Receiver = void (*)(void* context, const Item& item) noexcept;

struct Table {
  static constexpr std::uint32_t currentVersion = 1;

  std::uint32_t version;
  std::int32_t (*reach)() noexcept;
  std::int32_t (*read)(const Address& address, Receiver receiver, void* context) noexcept;
  std::int32_t (*insert)(const Item& item) noexcept;
  std::int32_t (*replace)(const Item& item) noexcept;
  std::int32_t (*erase)(const Address& address) noexcept;
  std::int32_t (*list)(Receiver receiver, void* context) noexcept;
};

/// The one symbol that the module exports, a function that gives its table.
inline constexpr const char* entrySymbol = "idlewyn_secret_service";
using Entry = const Table* (*)();

}  // namespace idlewyn::platform::secretservice
