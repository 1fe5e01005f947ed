// SPDX-License-Identifier: MIT
#include <algorithm>

#include <IdlewynKit/platform/secrets/internal/KeychainPlaces.hpp>
#include <IdlewynKit/platform/secrets/internal/KeychainRecord.hpp>

namespace idlewyn::platform {
namespace {

using Code = KeychainStatus::Code;
constexpr Code success = KeychainStatus::success;

bool isSame(const KeychainAttributes& a, const KeychainAttributes& b) {
  return a.value == b.value && a.accessible == b.accessible;
}

const KeychainItem* counterpart(const KeychainListing& listing, const KeychainItem& item) {
  const auto found =
      std::find_if(listing.items.begin(), listing.items.end(), [&](const KeychainItem& other) {
        return other.service == item.service && other.account == item.account &&
               other.accessGroup == item.accessGroup;
      });
  return found == listing.items.end() ? nullptr : &*found;
}

KeychainQuery queryFor(const KeychainItem& item) {
  return {item.service, item.account, item.accessGroup};
}

bool isNewer(const KeychainItem& item, const KeychainItem& other) {
  return item.modified && other.modified && *item.modified > *other.modified;
}

/// The items of two places, each of which may be changed under any group that occurs in them, the
/// private one included.
struct TwoPlaces {
  TwoPlaces(KeychainPlaces& places, KeychainPlace fromPlace, KeychainPlace toPlace)
      : listedFrom(places.keychain(fromPlace, {})->all()),
        listedTo(places.keychain(toPlace, {})->all()) {
    std::vector<std::string> groups;
    for (const auto* listing : {&listedFrom, &listedTo}) {
      for (const KeychainItem& item : listing->items)
        groups.push_back(item.accessGroup);
    }
    from = places.keychain(fromPlace, groups);
    to = places.keychain(toPlace, groups);
  }

  KeychainListing listedFrom, listedTo;
  std::shared_ptr<ListedKeychain> from, to;
};

Code copyItem(const TwoPlaces& both, const KeychainItem& item, KeychainMove& move) {
  const KeychainItem* other = counterpart(both.listedTo, item);
  if (other && isNewer(*other, item)) {
    ++move.kept;
    return success;
  }
  ++move.copied;
  if (!other) return both.to->add(queryFor(item), *item.attributes);
  if (other->attributes && isSame(*other->attributes, *item.attributes)) return success;
  return both.to->update(queryFor(item), *item.attributes);
}

/// Nothing counts as copied that was not read back.
Code copyAll(const TwoPlaces& both, KeychainMove& move) {
  for (const KeychainItem& item : both.listedFrom.items) {
    if (!item.attributes) continue;
    if (const Code status = copyItem(both, item, move); status != success) return status;
  }
  const KeychainListing written = both.to->all();
  if (written.status != success) return written.status;
  for (const KeychainItem& item : both.listedFrom.items) {
    if (!item.attributes) continue;
    const KeychainItem* copy = counterpart(written, item);
    const KeychainItem* before = counterpart(both.listedTo, item);
    const KeychainItem& wanted = before && isNewer(*before, item) ? *before : item;
    const bool isThere = copy && copy->attributes && wanted.attributes &&
                         isSame(*copy->attributes, *wanted.attributes);
    if (!isThere) return KeychainStatus::ioError;
  }
  return success;
}

/// What was written to the old place since, by somebody who was told to use it, stays there.
bool isMoved(const KeychainItem& item, const KeychainListing& to, std::int64_t since) {
  if (!item.attributes) return false;
  // Of a clock that was set back since, times say nothing.
  if (item.modified && *item.modified < since && since <= secondsSince1970()) return true;
  const KeychainItem* copy = counterpart(to, item);
  return copy && copy->attributes && isSame(*copy->attributes, *item.attributes);
}

class Mover {
 public:
  Mover(const KeychainSettings& settings, KeychainPlace to)
      : places_(*settings.places), file_(settings.directory), to_(to) {}

  KeychainMove run() {
    const auto reading = file_.read();
    if (!reading.isReadable) return failed(KeychainStatus::notAvailable);
    // An earlier move's rest first: later it could not be told from new items.
    if (reading.record && reading.record->left) {
      if (const Code status = emptyOldPlace(*reading.record); status != success) {
        return failed(status);
      }
    }
    if (!reading.record || reading.record->place != to_) move_.status = carry(!reading.record);
    return move_;
  }

 private:
  KeychainMove failed(Code status) {
    move_.status = status;
    return move_;
  }

  Code carry(bool isUndecided) {
    if (const Code status = places_.reach(to_); status != success) return status;
    const auto from =
        to_ == KeychainPlace::file ? KeychainPlace::secretService : KeychainPlace::file;
    const TwoPlaces both(places_, from, to_);
    const Code fromStatus = both.listedFrom.status;
    // A place that was never decided on and isn't there holds nothing of ours.
    const bool isNowhere = isUndecided && fromStatus == KeychainStatus::notAvailable;
    if (fromStatus != success && !isNowhere) return fromStatus;
    if (both.listedTo.status != success) return both.listedTo.status;
    if (const Code status = copyAll(both, move_); status != success) return status;
    KeychainRecord record{to_, LeftPlace{from, secondsSince1970()}};
    if (isNowhere) record.left.reset();
    if (!file_.write(record)) return KeychainStatus::ioError;
    return record.left ? emptyOldPlace(record) : success;
  }

  Code emptyOldPlace(const KeychainRecord& record) {
    const TwoPlaces both(places_, record.left->place, record.place);
    if (both.listedFrom.status != success) return both.listedFrom.status;
    if (both.listedTo.status != success) return both.listedTo.status;
    std::size_t left = 0;
    for (const KeychainItem& item : both.listedFrom.items) {
      if (!isMoved(item, both.listedTo, record.left->since)) {
        ++left;
        continue;
      }
      const Code status = both.from->remove(queryFor(item));
      if (status != success && status != KeychainStatus::itemNotFound) return status;
    }
    move_.left = left;
    return file_.write({record.place, std::nullopt}) ? success : KeychainStatus::ioError;
  }

  KeychainPlaces& places_;
  const KeychainRecordFile file_;
  const KeychainPlace to_;
  KeychainMove move_;
};

}  // namespace

KeychainMove moveWith(const KeychainSettings& settings, KeychainPlace to) {
  KeychainMove move;
  if (to == KeychainPlace::memory || (settings.word && *settings.word != rawValue(to))) {
    move.status = KeychainStatus::badParameter;
    return move;
  }
  const KeychainLock lock(settings.directory, KeychainLock::Kind::exclusive);
  if (lock.state() != KeychainLock::State::held) {
    move.status = KeychainStatus::notAvailable;
    return move;
  }
  return Mover(settings, to).run();
}

}  // namespace idlewyn::platform
