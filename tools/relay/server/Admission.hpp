// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <string>

/// How many connections a server has open, so that nobody takes them all.
///
///     auto place = admission.enter(origin);
///     if (!place) return;            // too many: close
///     place->shookHands();
namespace idlewyn::relay {

struct AdmissionLimits {
  std::size_t all = 512;
  /// Of one address; an IPv6 network of 64 bits counts as one.
  std::size_t ofOneAddress = 64;
  /// Of this machine, where a proxy stands for many clients.
  std::size_t ofThisMachine = 384;
  /// Connections whose TLS handshake isn't through: in all, of one address and of this machine, so
  /// that no address holds all places by staying silent.
  std::size_t handshakes = 256;
  std::size_t handshakesOfOneAddress = 16;
  std::size_t handshakesOfThisMachine = 96;
};

class Admission {
 public:
  /// A connection's place, given back when it is destroyed.
  class Place {
   public:
    Place(Admission& admission, std::string origin);
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;
    ~Place();
    void shookHands();

   private:
    Admission& admission_;
    std::string origin_;
    bool isShaking_ = true;
  };

  explicit Admission(AdmissionLimits limits) : limits_(limits) {}

  /// Null where one of the limits is reached.
  std::unique_ptr<Place> enter(const std::string& origin, bool isThisMachine);

 private:
  AdmissionLimits limits_;
  struct Count {
    std::size_t open = 0;
    std::size_t handshakes = 0;
  };

  std::map<std::string, Count> origins_;
  std::size_t all_ = 0;
  std::size_t handshakes_ = 0;
};

}  // namespace idlewyn::relay
