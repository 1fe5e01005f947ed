// SPDX-License-Identifier: MIT
#include <tools/relay/server/Admission.hpp>

#include <utility>

namespace idlewyn::relay {

Admission::Place::Place(Admission& admission, std::string origin)
    : admission_(admission), origin_(std::move(origin)) {
  Count& count = admission_.origins_[origin_];
  ++admission_.all_;
  ++admission_.handshakes_;
  ++count.open;
  ++count.handshakes;
}

Admission::Place::~Place() {
  shookHands();
  --admission_.all_;
  const auto entry = admission_.origins_.find(origin_);
  if (--entry->second.open == 0) admission_.origins_.erase(entry);
}

void Admission::Place::shookHands() {
  if (!std::exchange(isShaking_, false)) return;
  --admission_.handshakes_;
  --admission_.origins_.find(origin_)->second.handshakes;
}

std::unique_ptr<Admission::Place> Admission::enter(const std::string& origin, bool isThisMachine) {
  const auto entry = origins_.find(origin);
  const Count count = entry == origins_.end() ? Count() : entry->second;
  const std::size_t mostOpen = isThisMachine ? limits_.ofThisMachine : limits_.ofOneAddress;
  const std::size_t mostHandshakes =
      isThisMachine ? limits_.handshakesOfThisMachine : limits_.handshakesOfOneAddress;
  const bool isFull = all_ >= limits_.all || handshakes_ >= limits_.handshakes ||
                      count.open >= mostOpen || count.handshakes >= mostHandshakes;
  return isFull ? nullptr : std::make_unique<Place>(*this, origin);
}

}  // namespace idlewyn::relay
