// SPDX-License-Identifier: MIT
#include "QRCode.hpp"

#include <memory>
#include <stdexcept>

#include <qrencode.h>

namespace idlewyn::relay {
namespace {

constexpr int quietZone = 4;

struct Release {
  void operator()(QRcode* code) const noexcept { QRcode_free(code); }
};

bool isLight(const QRcode& code, int x, int y) {
  const bool outside = x < 0 || y < 0 || x >= code.width || y >= code.width;
  return outside || (code.data[y * code.width + x] & 1) == 0;
}

}  // namespace

std::string qrCode(const std::string& text) {
  const std::unique_ptr<QRcode, Release> code(
      QRcode_encodeString8bit(text.c_str(), 0, QR_ECLEVEL_L));
  if (code == nullptr) throw std::runtime_error("too long for a QR code");
  std::string lines;
  for (int y = -quietZone; y < code->width + quietZone; y += 2) {
    for (int x = -quietZone; x < code->width + quietZone; ++x) {
      const bool upper = isLight(*code, x, y);
      // The height is odd: below the last row nothing is drawn.
      const bool lower = y + 1 < code->width + quietZone && isLight(*code, x, y + 1);
      lines += upper ? (lower ? "█" : "▀") : (lower ? "▄" : " ");
    }
    lines += '\n';
  }
  return lines;
}

}  // namespace idlewyn::relay
