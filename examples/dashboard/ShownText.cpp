// SPDX-License-Identifier: MIT
#include "ShownText.hpp"

#include <cstddef>

#include <glib.h>

namespace dashboard {

std::string shown(const std::string& text) {
  char* valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
  std::string result;
  for (const char* at = valid; *at != '\0'; at = g_utf8_find_next_char(at, nullptr)) {
    const gunichar character = g_utf8_get_char(at);
    const GUnicodeType type = g_unichar_type(character);
    const bool isHidden = type == G_UNICODE_CONTROL || type == G_UNICODE_FORMAT ||
                          type == G_UNICODE_LINE_SEPARATOR || type == G_UNICODE_PARAGRAPH_SEPARATOR;
    if (isHidden && character != '\n' && character != '\t') {
      char escape[16];
      g_snprintf(escape, sizeof escape, "\\u{%X}", character);
      result += escape;
    } else {
      result.append(at, static_cast<std::size_t>(g_utf8_find_next_char(at, nullptr) - at));
    }
  }
  g_free(valid);
  return result;
}

}  // namespace dashboard
