// SPDX-License-Identifier: MIT
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>
#include <IdlewynKit/platform/base/RawValue.hpp>
#include <IdlewynKit/platform/secrets/Keychain.hpp>

/// Where the keychain of this user is, and how it is moved.
///
///     std::puts(keychainLocation().description.c_str());
///     KeychainMove move = moveKeychain(KeychainPlace::secretService);
///     if (move.status != KeychainStatus::success) return fail(move);
namespace idlewyn::platform {

/// The Secret Service is not available in a forked child of a process that has used it; the other
/// places are.
enum class KeychainPlace : std::uint8_t { secretService, file, memory };

/// Why that place is the one in use.
enum class KeychainReason : std::uint8_t {
  /// IDLEWYN_KEYCHAIN names it.
  environment,
  /// It was decided on earlier, by the first write or by a move.
  recorded,
  /// Nothing was ever written: the first write decides. There is no place yet.
  undecided,
  /// IDLEWYN_KEYCHAIN is no known word. No place is used; the verbs answer `notAvailable`.
  unknownWord,
  /// The record is there and can't be read or understood. As above: another place is not tried,
  /// because items that are elsewhere would seem to be lost.
  unreadableRecord,
};

struct KeychainLocation {
  KeychainLocation(std::optional<KeychainPlace> place, KeychainReason reason,
                   std::filesystem::path directory, std::string description)
      : place(place),
        reason(reason),
        directory(std::move(directory)),
        description(std::move(description)) {}

  std::optional<KeychainPlace> place;
  KeychainReason reason;
  /// Holds the record and, for `file`, the items: "keychain" in $IDLEWYN_DATA_DIR, else in
  /// "idlewyn" in $XDG_DATA_HOME (when absolute) or ~/.local/share. Empty when there is none.
  std::filesystem::path directory;
  /// One sentence for people.
  std::string description;
};

/// Reads the record and the environment only: nothing is decided, and no place is asked.
IDLEWYNKIT_EXPORT KeychainLocation keychainLocation();

/// What a move did, in items.
struct KeychainMove {
  KeychainMove() = default;

  KeychainStatus::Code status = KeychainStatus::success;
  /// Written to the new place, or found equal there.
  std::size_t copied = 0;
  /// Had a newer value in the new place, which was kept.
  std::size_t kept = 0;
  /// Stay in the old place: what is not bytes, and what was written there behind the record's back,
  /// or may have been, because the clock was set back.
  std::size_t left = 0;
};

/// Moves every item of every access group into the other place and makes that the one in use.
/// Nothing is lost when it is cut off, at whatever point: everything is copied and read back
/// first, then the record is switched in one step, then the old place is emptied; calling it
/// again goes on where it stopped. Writers of this library wait meanwhile, for at most two
/// seconds (then `notAvailable`). Where both places hold an item, the newer value stays; with
/// equal or unknown times that of the place that was in use.
///
/// `badParameter`: `memory` can't be moved to, nor anything while IDLEWYN_KEYCHAIN names another
/// place. Any other failure is that of the place, and leaves the place in use as it was. When
/// only what comes after the switch fails, which is the disk's word that it lasts and then the
/// emptying, the status is that failure, and the new place is in use already: see
/// `keychainLocation`.
IDLEWYNKIT_EXPORT KeychainMove moveKeychain(KeychainPlace to);

/// The keychain's file when it is damaged, and is in use or would be by the first write. Reads it,
/// which may take as long as a verb.
IDLEWYNKIT_EXPORT std::optional<std::filesystem::path> damagedKeychainFile();

/// What became of a damaged file.
struct KeychainAside {
  KeychainAside() = default;

  /// `success` also when nothing was damaged.
  KeychainStatus::Code status = KeychainStatus::success;
  /// Its new path; empty when it was not set aside.
  std::filesystem::path path;
};

/// Renames that file, with its log, to "NAME.damaged-TIME", as the first verb that writes would.
/// Nothing is deleted. A file that is whole, locked, of a later release or open to other users
/// stays where it is.
IDLEWYNKIT_EXPORT KeychainAside setDamagedKeychainAside();

}  // namespace idlewyn::platform

template <>
struct idlewyn::platform::RawValues<idlewyn::platform::KeychainPlace> {
  static constexpr std::string_view typeName = "KeychainPlace";
  static constexpr std::array<std::string_view, 3> texts{"secret-service", "file", "memory"};
  static constexpr bool isIterable = true;
};
