// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/internal/Scalars.hpp>

#include <array>

#include <utf8proc.h>

namespace idlewyn::platform {

std::u32string decodedScalars(std::string_view text) {
  std::u32string scalars;
  scalars.reserve(text.size());
  while (!text.empty()) {
    utf8proc_int32_t value = 0;
    const auto length = utf8proc_iterate(reinterpret_cast<const utf8proc_uint8_t*>(text.data()),
                                         static_cast<utf8proc_ssize_t>(text.size()), &value);
    scalars += length > 0 ? static_cast<char32_t>(value)
                          : firstStrayByte + static_cast<unsigned char>(text.front());
    text.remove_prefix(length > 0 ? static_cast<std::size_t>(length) : 1);
  }
  return scalars;
}

void appendScalar(char32_t value, std::string& text) {
  std::array<utf8proc_uint8_t, 4> bytes{};
  const auto length = utf8proc_encode_char(static_cast<utf8proc_int32_t>(value), bytes.data());
  text.append(reinterpret_cast<const char*>(bytes.data()), static_cast<std::size_t>(length));
}

}  // namespace idlewyn::platform
