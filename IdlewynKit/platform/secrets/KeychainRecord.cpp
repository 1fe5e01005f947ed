// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <thread>

#include <IdlewynKit/platform/base/internal/Files.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>
#include <IdlewynKit/platform/sqlite/internal/PrivateFiles.hpp>

namespace idlewyn::platform {
namespace {

using namespace std::chrono_literals;
using internal::Descriptor;

constexpr std::string_view placeWord = "place ";
constexpr std::string_view leftWord = "left ";

std::optional<KeychainPlace> persistentPlace(std::string_view text) {
  const auto place = fromRawValue<KeychainPlace>(text);
  return place == KeychainPlace::memory ? std::nullopt : place;
}

/// Takes a line that begins with the word from the front of the text; the rest of the line.
std::optional<std::string_view> takeLine(std::string_view& text, std::string_view word) {
  const auto end = text.find('\n');
  if (end == std::string_view::npos || !text.starts_with(word)) return std::nullopt;
  const std::string_view rest = text.substr(0, end).substr(word.size());
  text.remove_prefix(end + 1);
  return rest;
}

std::optional<LeftPlace> parseLeft(std::string_view text) {
  const auto blank = text.find(' ');
  if (blank == std::string_view::npos) return std::nullopt;
  const auto place = persistentPlace(text.substr(0, blank));
  const std::string_view digits = text.substr(blank + 1);
  std::int64_t since = 0;
  const auto end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, since);
  if (!place || error != std::errc() || stop != end) return std::nullopt;
  return LeftPlace{*place, since};
}

/// Negative when there is none. Whatever else lies there, nobody is waited for.
int openLockFile(const std::string& path) {
  constexpr int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  int file = open(path.c_str(), O_RDWR | O_CREAT | flags, 0600);
  // Read-only media, or somebody else's: what can be read can be locked.
  if (file < 0) file = open(path.c_str(), O_RDONLY | flags);
  struct stat status {};
  if (file < 0 || (fstat(file, &status) == 0 && S_ISREG(status.st_mode))) return file;
  close(file);
  return -1;
}

}  // namespace

std::string KeychainRecord::text() const {
  std::string text = std::string(placeWord) + std::string(rawValue(place)) + "\n";
  if (left) {
    text += std::string(leftWord) + std::string(rawValue(left->place)) + " " +
            std::to_string(left->since) + "\n";
  }
  return text;
}

std::optional<KeychainRecord> KeychainRecord::parse(std::string_view text) {
  const auto line = takeLine(text, placeWord);
  const auto place = line ? persistentPlace(*line) : std::nullopt;
  if (!place) return std::nullopt;
  KeychainRecord record{*place, std::nullopt};
  if (text.empty()) return record;
  const auto leftLine = takeLine(text, leftWord);
  record.left = leftLine ? parseLeft(*leftLine) : std::nullopt;
  const bool isWhole = record.left && text.empty() && record.left->place != record.place;
  return isWhole ? std::optional(record) : std::nullopt;
}

KeychainLock::KeychainLock(const std::filesystem::path& directory, Kind kind) {
  if (directory.empty()) return;
  if (kind == Kind::exclusive) makeDirectories(directory);
  descriptor_ = openLockFile((directory / "lock").string());
  if (descriptor_ < 0) return;
  const int operation = (kind == Kind::shared ? LOCK_SH : LOCK_EX) | LOCK_NB;
  const auto deadline = std::chrono::steady_clock::now() + 2s;
  for (;;) {
    if (flock(descriptor_, operation) == 0) {
      state_ = State::held;
      return;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) return;
    if (std::chrono::steady_clock::now() > deadline) {
      state_ = State::busy;
      return;
    }
    std::this_thread::sleep_for(5ms);
  }
}

KeychainLock::~KeychainLock() {
  if (descriptor_ < 0) return;
  // A child that was forked meanwhile has the descriptor too, and would go on holding the lock.
  flock(descriptor_, LOCK_UN);
  close(descriptor_);
}

KeychainRecordFile::KeychainRecordFile(std::filesystem::path directory)
    : directory_(std::move(directory)) {}

KeychainRecordFile::Reading KeychainRecordFile::read() const {
  Reading reading;
  if (directory_.empty()) return reading;
  const Descriptor file(
      open((directory_ / "place").c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!file.isOpen()) {
    reading.isReadable = errno == ENOENT || errno == ENOTDIR;
    return reading;
  }
  std::array<char, 256> bytes{};
  const ssize_t size = ::read(file.number(), bytes.data(), bytes.size());
  // A record is never that long.
  if (size >= 0 && size < static_cast<ssize_t>(bytes.size())) {
    reading.record = KeychainRecord::parse({bytes.data(), static_cast<std::size_t>(size)});
  }
  reading.isReadable = reading.record.has_value();
  return reading;
}

bool KeychainRecordFile::write(const KeychainRecord& record) const {
  const std::string whole = (directory_ / "place").string(), begun = whole + ".new";
  unlink(begun.c_str());
  {
    const Descriptor file(open(begun.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen() || internal::writeAll(file.number(), record.text()) != 0) return false;
  }
  return synchronize(begun) == Outcome::done && rename(begun.c_str(), whole.c_str()) == 0 &&
         synchronize(directory_) == Outcome::done;
}

}  // namespace idlewyn::platform
