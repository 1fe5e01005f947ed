// SPDX-License-Identifier: MIT
#include <IdlewynKit/storage/SnapshotStore.hpp>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/storage/AppGroup.hpp>
#include <IdlewynKit/storage/internal/DefaultsSuite.hpp>

namespace idlewyn {

namespace {
constexpr std::string_view key = "sessionSnapshot";
}

SnapshotStore::SnapshotStore(std::optional<std::string> suiteName)
    : suiteName_(std::move(suiteName)) {}

const SnapshotStore& SnapshotStore::shared() {
  static const SnapshotStore& store = *new SnapshotStore(std::string(AppGroup::identifier));
  return store;
}

SessionSnapshot SnapshotStore::load() const {
  const auto stored = internal::defaultsOfSuite(suiteName_).data(key);
  if (!stored) return SessionSnapshot::empty();
  try {
    return JSONDecoder::relay().decode<SessionSnapshot>(*stored);
  } catch (const DecodingError&) {
    return SessionSnapshot::empty();
  }
}

void SnapshotStore::save(const SessionSnapshot& snapshot) const {
  Data encoded;
  try {
    encoded = JSONEncoder::relay().encode(snapshot);
  } catch (const EncodingError&) {
    return;
  }
  internal::defaultsOfSuite(suiteName_).set(key, std::move(encoded));
}

void SnapshotStore::clear() const { internal::defaultsOfSuite(suiteName_).remove(key); }

}  // namespace idlewyn
