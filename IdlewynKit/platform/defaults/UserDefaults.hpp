// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/Data.hpp>

/// Small settings by key, seen at once by every process of the user that opens the same suite.
///
///     UserDefaults defaults = UserDefaults::suite("group.org.example").value_or(
///         UserDefaults::standard());
///     defaults.set("lastSeen", Data::ofText(text));
///     std::optional<Data> bytes = defaults.data("lastSeen");
namespace idlewyn::platform {

/// A handle, cheap to make and to copy; handles of one suite share its connection. May be used
/// from any thread. Nothing is thrown: what can't be read is absent, and what can't be written
/// is reported by `false`, for those who care.
class UserDefaults {
 public:
  /// Kept apart by type: a text is never read as bytes, nor true as 1.
  using Value = std::variant<Data, std::string, std::int64_t, double, bool>;

  /// The defaults of this process's application: the suite that has the name of its executable.
  /// Where that can't be opened or made, values are kept in memory: every such handle of this
  /// process shares them, and they end with it.
  IDLEWYNKIT_EXPORT static UserDefaults standard();
  /// The suite in "defaults/NAME.sqlite3" of $IDLEWYN_DATA_DIR, else of "idlewyn" in
  /// $XDG_DATA_HOME (when absolute) or ~/.local/share. Nothing when it can't be opened or made, or
  /// when the name can't be that of a file: it is UTF-8 of 1 to 200 bytes without slashes and
  /// control characters and doesn't begin with a dot. Cheap; waits for no other process, and for
  /// another thread only while it is at that suite's file.
  IDLEWYNKIT_EXPORT static std::optional<UserDefaults> suite(std::string_view name);

  IDLEWYNKIT_EXPORT std::optional<Value> value(std::string_view key) const;
  /// The value when it is bytes.
  IDLEWYNKIT_EXPORT std::optional<Data> data(std::string_view key) const;

  /// False, and the old value stays, also for a key or a text that isn't UTF-8. Survives the end of
  /// the process at once and a loss of power some seconds later.
  IDLEWYNKIT_EXPORT bool set(std::string_view key, const Value& value);
  /// True also when there was nothing.
  IDLEWYNKIT_EXPORT bool remove(std::string_view key);

 private:
  class Store;
  explicit UserDefaults(std::shared_ptr<Store> store);
  std::shared_ptr<Store> store_;
};

}  // namespace idlewyn::platform
