// SPDX-License-Identifier: MIT
#include <tools/idlewyn/pairings/KeychainTrouble.hpp>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

// The library refuses a file that others may read.
std::optional<KeychainTrouble> opennessOf(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  constexpr auto others = fs::perms::group_all | fs::perms::others_all;
  if (!fs::is_regular_file(status) || (status.permissions() & others) == fs::perms::none) {
    return std::nullopt;
  }
  const std::string name = displayLine(file.native());
  return KeychainTrouble("The keychain's file " + name + " is open to other users.",
                         "Look whether it is yours and unchanged, then chmod 600 " + name + ".");
}

}  // namespace

std::optional<KeychainTrouble> keychainTrouble() {
  const platform::KeychainLocation location = platform::keychainLocation();
  const std::string description = displayLine(location.description);
  switch (location.reason) {
    case platform::KeychainReason::unknownWord:
      return KeychainTrouble(description, "Set IDLEWYN_KEYCHAIN to one of them, or unset it.");
    case platform::KeychainReason::unreadableRecord:
      return KeychainTrouble(
          description,
          "Its line is to be: place secret-service, or: place file, whichever of them "
          "holds your pairings.");
    default: break;
  }
  if (const auto file = platform::damagedKeychainFile()) {
    return KeychainTrouble("The keychain's file " + displayLine(file->native()) + " is damaged.",
                           "idlewyn unpair --damaged sets it aside and deletes nothing; then pair "
                           "again.");
  }
  if (location.place != platform::KeychainPlace::file) return std::nullopt;
  return opennessOf(location.directory / "keychain.sqlite3");
}

std::optional<KeychainTrouble> folderTrouble(const std::string& folder) {
  if (folder.empty()) {
    return KeychainTrouble("There is no home directory to keep anything in.",
                           "Set IDLEWYN_DATA_DIR.");
  }
  // The nearest one that exists would have to take the rest.
  fs::path place = folder;
  std::error_code error;
  while (!fs::exists(place, error) && place.has_relative_path())
    place = place.parent_path();
  const std::string name = displayLine(place.native());
  if (!fs::is_directory(place, error)) {
    return KeychainTrouble(name + " is no folder.",
                           "Move it away, or set IDLEWYN_DATA_DIR to another place.");
  }
  if (faccessat(AT_FDCWD, place.c_str(), W_OK | X_OK, AT_EACCESS) == 0) return std::nullopt;
  const std::string why = std::generic_category().message(errno);
  return KeychainTrouble("Nothing can be kept in " + name + ": " + why + ".",
                         "Look at who owns it, or set IDLEWYN_DATA_DIR to another place.");
}

}  // namespace idlewyn::command
