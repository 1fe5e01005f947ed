// SPDX-License-Identifier: MIT
#include <tools/idlewyn/pairings/SharedConnections.hpp>

#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>

#include <IdlewynKit/platform/coding/JSONDecoder.hpp>
#include <IdlewynKit/platform/secrets/KeychainPlace.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/pairings/KeychainTrouble.hpp>
#include <tools/idlewyn/system/FileDescriptor.hpp>

namespace idlewyn::command {
namespace {

namespace fs = std::filesystem;

constexpr const char* account = "connections";
constexpr const char* probe = "probe";

Failure storageFailure(std::string message) {
  return {ExitCode::failure, "storage", std::move(message)};
}

Failure keychainFailure(const std::string& what, const KeychainError& error) {
  const auto trouble = keychainTrouble();
  return storageFailure(what + " the connections in the keychain: " +
                        (trouble ? trouble->message + " " + trouble->remedy
                                 : error.errorDescription() + " See idlewyn keychain where."));
}

Failure systemFailure(const std::string& what, const fs::path& path) {
  return storageFailure(what + " " + displayLine(path.native()) + ": " +
                        std::generic_category().message(errno) + ".");
}

bool isList(const platform::Data& bytes) {
  try {
    platform::PlainJSONDecoder().decode<std::vector<Connection>>(bytes);
    return true;
  } catch (const platform::DecodingError&) {
    return false;
  }
}

}  // namespace

SharedConnections::SharedConnections(const ConnectionStore& store,
                                     std::function<void(std::chrono::milliseconds)> pause,
                                     std::chrono::milliseconds limit)
    : store_(store), pause_(std::move(pause)), limit_(limit) {}

std::vector<Connection> SharedConnections::load() const {
  std::optional<platform::Data> bytes;
  try {
    bytes = store_.keychain.data(account);
    // Before its place was decided on the library doesn't look into it.
    if (!bytes && platform::damagedKeychainFile()) {
      throw KeychainError(platform::KeychainStatus::invalidKeychain);
    }
  } catch (const KeychainError& error) {
    throw keychainFailure("Can't read", error);
  }
  if (!bytes) return {};
  try {
    return platform::PlainJSONDecoder().decode<std::vector<Connection>>(*bytes);
  } catch (const platform::DecodingError& error) {
    // Only where: what stands there may be a token.
    std::string place = pathText(error.codingPath);
    if (!error.missingKey.empty()) place += " without " + error.missingKey;
    throw storageFailure("The connections in the keychain are damaged" +
                         (place.empty() ? std::string() : " at " + place) +
                         "; idlewyn unpair --damaged sets them aside.");
  }
}

void SharedConnections::save(const std::vector<Connection>& connections) {
  try {
    store_.save(connections);
  } catch (const KeychainError& error) {
    throw keychainFailure("Can't save", error);
  }
}

SetAside SharedConnections::setDamagedAside() {
  SetAside result;
  const auto hold = exclude();
  try {
    const platform::KeychainAside file = platform::setDamagedKeychainAside();
    if (file.status != platform::KeychainStatus::success) throw KeychainError(file.status);
    if (!file.path.empty()) {
      result.file = file.path.native();
      return result;
    }
    const auto bytes = store_.keychain.data(account);
    const bool isDamaged = bytes && !isList(*bytes);
    if (!isDamaged) throw storageFailure("The list of connections is not damaged.");
    std::string aside = "connections.damaged";
    for (int number = 2; store_.keychain.data(aside); ++number) {
      aside = "connections.damaged-" + std::to_string(number);
    }
    store_.keychain.set(*bytes, aside);
    store_.keychain.removeValue(account);
    result.item = std::move(aside);
    return result;
  } catch (const KeychainError& error) {
    throw keychainFailure("Can't set aside", error);
  }
}

// An item of its own: the list itself is not touched in vain.
void SharedConnections::trySaving(const std::vector<Connection>&) {
  try {
    store_.keychain.set(platform::Data::ofText("probe"), probe);
    store_.keychain.removeValue(probe);
  } catch (const KeychainError& error) {
    throw keychainFailure("Can't save", error);
  }
}

std::shared_ptr<void> SharedConnections::exclude() {
  const fs::path directory = platform::keychainLocation().directory;
  if (directory.empty()) {
    throw storageFailure(
        "There is no home directory to keep connections in; set IDLEWYN_DATA_DIR.");
  }
  std::error_code error;
  fs::create_directories(directory, error);
  fs::permissions(directory, fs::perms::owner_all, error);
  const fs::path path = directory / "connections.lock";
  FileDescriptor lock(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!lock) throw systemFailure("Can't make", path);
  // Asked again and again, for a call that waits would swallow signals.
  const auto deadline = std::chrono::steady_clock::now() + limit_;
  while (flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) throw systemFailure("Can't lock", path);
    if (std::chrono::steady_clock::now() > deadline) {
      throw storageFailure("Can't lock " + displayLine(path.native()) +
                           ": another process holds it; try again later.");
    }
    pause_(std::chrono::milliseconds(10));
  }
  return std::make_shared<FileDescriptor>(std::move(lock));
}

}  // namespace idlewyn::command
