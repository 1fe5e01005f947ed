// SPDX-License-Identifier: MIT
#include <utility>

#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>
#include <IdlewynKit/platform/sqlite/DatabaseFile.hpp>

namespace idlewyn::platform {
namespace {

using Session = DatabaseFile::Session;

constexpr DatabaseFile::Format format(
    "CREATE TABLE items(service TEXT NOT NULL, account TEXT NOT NULL, accessGroup TEXT NOT NULL,"
    " accessible INTEGER NOT NULL, modified INTEGER NOT NULL, value BLOB,"
    " PRIMARY KEY(service, account, accessGroup)) WITHOUT ROWID",
    0x49646c6b, DatabaseFile::Durability::machine, true);

constexpr const char* readOne =
    "SELECT value FROM items WHERE service = ?1 AND account = ?2 AND accessGroup = ?3";
constexpr const char* insertOne = "INSERT INTO items VALUES(?1, ?2, ?3, ?4, ?5, ?6)";
constexpr const char* replaceOne =
    "UPDATE items SET accessible = ?4, modified = ?5, value = ?6"
    " WHERE service = ?1 AND account = ?2 AND accessGroup = ?3";
constexpr const char* eraseOne =
    "DELETE FROM items WHERE service = ?1 AND account = ?2 AND accessGroup = ?3";
constexpr const char* readAll =
    "SELECT service, account, accessGroup, accessible, modified, value FROM items";

KeychainStatus::Code statusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::done:
    case Outcome::row: return KeychainStatus::success;
    case Outcome::duplicate: return KeychainStatus::duplicateItem;
    case Outcome::absent: return KeychainStatus::itemNotFound;
    case Outcome::busy:
    case Outcome::unopenable: return KeychainStatus::notAvailable;
    case Outcome::full: return KeychainStatus::diskFull;
    case Outcome::unwritable: return KeychainStatus::writePermission;
    case Outcome::damaged: return KeychainStatus::invalidKeychain;
    case Outcome::failed: break;
  }
  return KeychainStatus::ioError;
}

void bindAddress(Query& query, const ItemAddress& address) {
  query.bind(1, std::string_view(address.service));
  query.bind(2, std::string_view(address.account));
  query.bind(3, std::string_view(address.accessGroup));
}

void bindAttributes(Query& query, const KeychainAttributes& attributes) {
  query.bind(4, static_cast<std::int64_t>(attributes.accessible));
  query.bind(5, secondsSince1970());
  query.bind(6, attributes.value);
}

KeychainItem itemIn(const Query& row) {
  std::optional<KeychainAttributes> attributes;
  if (row.type(5) == Query::Type::data) {
    attributes.emplace(Data::ofText(row.bytes(5)), row.integer(3) == 0
                                                       ? KeychainAccessibility::whenUnlocked
                                                       : KeychainAccessibility::afterFirstUnlock);
  }
  return {row.bytes(0), row.bytes(1), row.bytes(2), std::move(attributes), row.integer(4)};
}

DatabaseFile& fileIn(const std::filesystem::path& directory) {
  return DatabaseFile::at(directory / "keychain.sqlite3", format);
}

class FileItems : public SecretItems {
 public:
  explicit FileItems(const std::filesystem::path& directory) : file_(fileIn(directory)) {}

  KeychainMatch read(const ItemAddress& address) override {
    KeychainMatch match;
    const Outcome outcome = file_.read([&](Session& session) {
      return session.query(readOne, [&](Query& query) {
        bindAddress(query, address);
        const Outcome found = query.step();
        if (found == Outcome::done) return Outcome::absent;
        if (found == Outcome::row && query.type(0) == Query::Type::data) {
          match.data = Data::ofText(query.bytes(0));
        }
        return found;
      });
    });
    match.status = statusOf(outcome);
    return match;
  }

  KeychainStatus::Code insert(const ItemAddress& address,
                              const KeychainAttributes& attributes) override {
    return statusOf(file_.write(DatabaseFile::Missing::make, [&](Session& session) {
      return session.query(insertOne, [&](Query& query) {
        bindAddress(query, address);
        bindAttributes(query, attributes);
        return query.step();
      });
    }));
  }

  KeychainStatus::Code replace(const ItemAddress& address,
                               const KeychainAttributes& attributes) override {
    return change(replaceOne, [&](Query& query) {
      bindAddress(query, address);
      bindAttributes(query, attributes);
    });
  }

  KeychainStatus::Code erase(const ItemAddress& address) override {
    return change(eraseOne, [&](Query& query) { bindAddress(query, address); });
  }

  KeychainListing list() override {
    KeychainListing listing;
    const Outcome outcome = file_.read([&](Session& session) {
      return session.query(readAll, [&](Query& query) {
        Outcome step = query.step();
        for (; step == Outcome::row; step = query.step())
          listing.items.push_back(itemIn(query));
        return step;
      });
    });
    if (outcome == Outcome::done || outcome == Outcome::absent) return listing;
    return {statusOf(outcome), {}};
  }

 private:
  template <class Bind>
  KeychainStatus::Code change(const char* sql, const Bind& bind) {
    return statusOf(file_.write(DatabaseFile::Missing::leave, [&](Session& session) {
      return session.query(sql, [&](Query& query) {
        bind(query);
        const Outcome outcome = query.step();
        return outcome == Outcome::done && session.changes() == 0 ? Outcome::absent : outcome;
      });
    }));
  }

  DatabaseFile& file_;
};

}  // namespace

std::shared_ptr<SecretItems> makeFileItems(const std::filesystem::path& directory) {
  return std::make_shared<FileItems>(directory);
}

std::optional<std::filesystem::path> damagedFileIn(const std::filesystem::path& directory) {
  const Outcome outcome = fileIn(directory).read([](Session&) { return Outcome::done; });
  if (outcome != Outcome::damaged) return std::nullopt;
  return directory / "keychain.sqlite3";
}

KeychainAside setDamagedFileAside(const std::filesystem::path& directory) {
  std::string target;
  const Outcome outcome = fileIn(directory).setDamagedAside(target);
  KeychainAside aside;
  if (outcome != Outcome::done && outcome != Outcome::absent) aside.status = statusOf(outcome);
  if (outcome == Outcome::done && !target.empty()) aside.path = target;
  return aside;
}

std::unique_ptr<ListedKeychain> makeFileKeychain(const std::filesystem::path& directory,
                                                 std::vector<std::string> accessGroups) {
  return makeGroupedKeychain(makeFileItems(directory), std::move(accessGroups));
}

}  // namespace idlewyn::platform
