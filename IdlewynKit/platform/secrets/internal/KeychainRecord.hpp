// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>

/// The file that says which place keeps this user's items, and the lock beside it.
namespace idlewyn::platform {

/// A place that a move has left behind and not emptied yet.
struct LeftPlace {
  KeychainPlace place;
  /// Whole seconds since 1970: what lies there and is older was moved, unless this is yet to come.
  std::int64_t since;

  friend bool operator==(const LeftPlace&, const LeftPlace&) = default;
};

struct KeychainRecord {
  KeychainPlace place;
  std::optional<LeftPlace> left;

  std::string text() const;
  /// Nothing but what `text` gives is understood; `memory` is never recorded.
  static std::optional<KeychainRecord> parse(std::string_view text);

  friend bool operator==(const KeychainRecord&, const KeychainRecord&) = default;
};

class KeychainLock {
 public:
  enum class Kind { shared, exclusive };
  /// `busy` after two seconds; `impossible` where there can be no lock, as on read-only media
  /// or with something else than a file in its place, and hence no move.
  enum class State { held, busy, impossible };

  /// Makes the directory, for this user alone, when `kind` is exclusive.
  KeychainLock(const std::filesystem::path& directory, Kind kind);
  ~KeychainLock();
  KeychainLock(const KeychainLock&) = delete;
  KeychainLock& operator=(const KeychainLock&) = delete;

  State state() const noexcept { return state_; }

 private:
  int descriptor_ = -1;
  State state_ = State::impossible;
};

class KeychainRecordFile {
 public:
  explicit KeychainRecordFile(std::filesystem::path directory);

  struct Reading {
    bool isReadable = true;
    /// Nothing was decided yet when it is absent and readable.
    std::optional<KeychainRecord> record;

    friend bool operator==(const Reading&, const Reading&) = default;
  };
  Reading read() const;
  /// In one step, whatever happens meanwhile; for holders of the exclusive lock.
  bool write(const KeychainRecord& record) const;

 private:
  std::filesystem::path directory_;
};

}  // namespace idlewyn::platform
