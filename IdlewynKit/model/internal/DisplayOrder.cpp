// SPDX-License-Identifier: MIT
#include <IdlewynKit/model/internal/DisplayOrder.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <utility>

namespace idlewyn::internal {

namespace {

// Sorting moves these 16 bytes instead of whole sessions. All 64 bits of the date are kept:
// packing it into milliseconds would misplace finer ones.
struct Key {
  std::uint64_t inverseDate;
  std::uint32_t rank;
  std::uint32_t index;

  // Rank, date and index as one number, compared without a branch.
  __extension__ using Wide = unsigned __int128;
  Wide number() const { return Wide{rank} << 96 | Wide{inverseDate} << 32 | index; }
};

constexpr std::size_t comparisonLimit = 2'000;
constexpr unsigned digitBits = 11;
constexpr std::size_t digitCount = 1u << digitBits;

// Maps doubles to integers of the opposite order; -0.0 and 0.0 alike.
std::uint64_t inverseDateBits(Date date) {
  const double seconds = secondsSinceReferenceDate(date) + 0.0;
  if (std::isnan(seconds)) return ~std::uint64_t{0};
  const auto bits = std::bit_cast<std::uint64_t>(seconds);
  const auto ascending = bits >> 63 ? ~bits : bits | (std::uint64_t{1} << 63);
  return ~ascending;
}

std::vector<Key> makeKeys(std::span<const AgentSession> sessions) {
  std::vector<Key> keys;
  keys.reserve(sessions.size());
  for (std::uint32_t i = 0; i < sessions.size(); ++i) {
    keys.push_back({inverseDateBits(sessions[i].updatedAt),
                    static_cast<std::uint32_t>(sortRank(sessions[i].status)), i});
  }
  return keys;
}

// One stable counting pass; left out when every key has the same digit, as the upper bits of
// dates of one year have.
template <class Digit>
void countingPass(std::vector<Key>& keys, std::vector<Key>& spare, Digit digit) {
  std::array<std::uint32_t, digitCount> starts{};
  for (const Key& key : keys)
    ++starts[digit(key)];
  if (starts[digit(keys.front())] == keys.size()) return;
  std::uint32_t sum = 0;
  for (auto& start : starts)
    sum += std::exchange(start, sum);
  for (const Key& key : keys)
    spare[starts[digit(key)]++] = key;
  keys.swap(spare);
}

void radixSort(std::vector<Key>& keys) {
  std::vector<Key> spare(keys.size());
  for (unsigned shift = 0; shift < 64; shift += digitBits) {
    countingPass(keys, spare,
                 [shift](const Key& key) { return (key.inverseDate >> shift) & (digitCount - 1); });
  }
  countingPass(keys, spare, [](const Key& key) { return std::size_t{key.rank}; });
}

}  // namespace

std::vector<std::uint32_t> displayOrder(std::span<const AgentSession> sessions) {
  auto keys = makeKeys(sessions);
  if (keys.size() > comparisonLimit) {
    radixSort(keys);
  } else {
    std::sort(keys.begin(), keys.end(),
              [](const Key& a, const Key& b) { return a.number() < b.number(); });
  }
  std::vector<std::uint32_t> order;
  order.reserve(keys.size());
  for (const Key& key : keys)
    order.push_back(key.index);
  return order;
}

}  // namespace idlewyn::internal
