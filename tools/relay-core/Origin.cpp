// SPDX-License-Identifier: MIT
#include "Origin.hpp"

#include <algorithm>

#include <boost/asio/ip/address.hpp>

namespace idlewyn::relay {

std::string countedOrigin(const std::string& address) {
  namespace ip = boost::asio::ip;
  boost::system::error_code error;
  const auto parsed = ip::make_address(address, error);
  if (error || parsed.is_v4()) return address;
  const ip::address_v6 v6 = parsed.to_v6();
  if (v6.is_v4_mapped()) return ip::make_address_v4(ip::v4_mapped, v6).to_string();
  ip::address_v6::bytes_type bytes = v6.to_bytes();
  std::fill(bytes.begin() + 8, bytes.end(), static_cast<unsigned char>(0));
  return ip::address_v6(bytes).to_string() + "/64";
}

}  // namespace idlewyn::relay
