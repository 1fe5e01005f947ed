// SPDX-License-Identifier: MIT
// Both stores against raw SQLite calls in the same mode: the defaults without waiting for the
// disk, the keychain with.
#include <cstdio>
#include <cstdlib>
#include <limits>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>
#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>

#include "stores/RawStore.hpp"
#include "support/Ratio.hpp"

using namespace idlewyn::bench;
using namespace idlewyn::platform;

namespace {

constexpr double limit = 1.3;
constexpr double noLimit = std::numeric_limits<double>::infinity();
const std::string key = "sessionSnapshot";

void expect(bool isRight) {
  if (isRight) return;
  std::puts("a store failed");
  std::exit(2);
}

void compareDefaults(Comparisons& comparisons, const std::filesystem::path& folder,
                     std::size_t size) {
  const std::string number = std::to_string(size) + " bytes";
  const UserDefaults::Value values[]{Data::ofText(std::string(size, 'x')),
                                     Data::ofText(std::string(size, 'y'))};
  UserDefaults defaults = UserDefaults::suite("bench").value();
  RawStore raw(folder / ("defaults" + number), "NORMAL");
  std::size_t ours = 0, theirs = 0;  // the same value twice would not be written
  comparisons.atMost(
      "defaults, put " + number, limit, [&] { expect(defaults.set(key, values[ours++ % 2])); },
      [&] { raw.put(key, std::get<Data>(values[theirs++ % 2]).storage); });
  comparisons.atMost(
      "defaults, get " + number, limit, [&] { keep(defaults.data(key)); },
      [&] { keep(raw.get(key)); });
  comparisons.atMost(
      "defaults, suite and get " + number, noLimit,
      [&] { keep(UserDefaults::suite("bench").value().data(key)); }, [&] { keep(raw.get(key)); });
  expect(defaults.data(key)->size() == size && raw.get(key).size() == size);
}

void compareKeychain(Comparisons& comparisons, const std::filesystem::path& folder,
                     std::size_t size) {
  const std::string number = std::to_string(size) + " bytes";
  const KeychainQuery query("service", key, "group.bench");
  const auto accessible = KeychainAccessibility::afterFirstUnlock;
  const KeychainAttributes values[]{{Data::ofText(std::string(size, 'x')), accessible},
                                    {Data::ofText(std::string(size, 'y')), accessible}};
  const auto keychain = makeFileKeychain(folder / number, {"group.bench"});
  RawStore raw(folder / ("keychain" + number), "FULL");
  std::size_t ours = 0, theirs = 0;
  expect(keychain->add(query, values[0]) == KeychainStatus::success);
  comparisons.atMost(
      "keychain, put " + number, limit,
      [&] { expect(keychain->update(query, values[ours++ % 2]) == KeychainStatus::success); },
      [&] { raw.put(key, values[theirs++ % 2].value.storage); });
  comparisons.atMost(
      "keychain, get " + number, limit, [&] { keep(keychain->copyMatching(query).data); },
      [&] { keep(raw.get(key)); });
  expect(keychain->copyMatching(query).data->size() == size && raw.get(key).size() == size);
}

}  // namespace

int main(int argc, char** argv) {
  const idlewyn::testing::TemporaryFolder folder;
  setenv("IDLEWYN_DATA_DIR", folder.path().c_str(), 1);
  Comparisons comparisons(argc, argv);
  for (const std::size_t size : {500, 50'000}) {
    compareDefaults(comparisons, folder.path(), size);
    compareKeychain(comparisons, folder.path(), size);
  }
  return comparisons.finish();
}
