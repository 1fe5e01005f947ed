// SPDX-License-Identifier: MIT
#include <tools/relay/server/Admission.hpp>

#include <utility>

namespace idlewyn::relay {

Admission::Place::Place(Admission& admission, std::string origin)
    : admission_(admission), origin_(std::move(origin)) {
  ++admission_.all_;
  ++admission_.handshakes_;
  ++admission_.open_[origin_];
}

Admission::Place::~Place() {
  shookHands();
  --admission_.all_;
  const auto entry = admission_.open_.find(origin_);
  if (--entry->second == 0) admission_.open_.erase(entry);
}

void Admission::Place::shookHands() {
  if (std::exchange(isShaking_, false)) --admission_.handshakes_;
}

std::unique_ptr<Admission::Place> Admission::enter(const std::string& origin, bool isThisMachine) {
  const auto entry = open_.find(origin);
  const std::size_t open = entry == open_.end() ? 0 : entry->second;
  const bool isFull = all_ >= limits_.all || handshakes_ >= limits_.handshakes ||
                      open >= (isThisMachine ? limits_.ofThisMachine : limits_.ofOneAddress);
  return isFull ? nullptr : std::make_unique<Place>(*this, origin);
}

}  // namespace idlewyn::relay
