// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/text/internal/Visibility.hpp>

#include <algorithm>
#include <iterator>

#include <utf8proc.h>

#include <IdlewynKit/platform/text/internal/Scalars.hpp>
#include <IdlewynKit/platform/text/internal/UnicodeTables.hpp>

namespace idlewyn::platform {
namespace {

const utf8proc_property_t& properties(char32_t value) noexcept {
  return *utf8proc_get_property(static_cast<utf8proc_int32_t>(value));
}

bool isJamoVowelOrFinal(const utf8proc_property_t& of) noexcept {
  return of.boundclass == UTF8PROC_BOUNDCLASS_V || of.boundclass == UTF8PROC_BOUNDCLASS_T;
}

}  // namespace

bool isVisible(char32_t value) noexcept {
  if (value < 0x80) return value >= ' ' && value != 0x7F;
  if (value >= firstStrayByte) return false;
  const utf8proc_property_t& of = properties(value);
  switch (of.category) {
    case UTF8PROC_CATEGORY_CN:
    case UTF8PROC_CATEGORY_CC:
    case UTF8PROC_CATEGORY_CF:
    case UTF8PROC_CATEGORY_CS:
    case UTF8PROC_CATEGORY_CO:
    case UTF8PROC_CATEGORY_ZS:
    case UTF8PROC_CATEGORY_ZL:
    case UTF8PROC_CATEGORY_ZP: return false;
    default: return !of.ignorable && !std::ranges::binary_search(tables::blankGlyphs(), value);
  }
}

bool isAttached(char32_t value) noexcept {
  if (value < 0x80 || value >= firstStrayByte) return false;
  const utf8proc_property_t& of = properties(value);
  return of.category == UTF8PROC_CATEGORY_MN || of.category == UTF8PROC_CATEGORY_MC ||
         of.category == UTF8PROC_CATEGORY_ME || isJamoVowelOrFinal(of);
}

bool attachesTo(char32_t before, char32_t value) noexcept {
  if (!isJamoVowelOrFinal(properties(value))) return true;
  return !utf8proc_grapheme_break(static_cast<utf8proc_int32_t>(before),
                                  static_cast<utf8proc_int32_t>(value));
}

bool isLikeBackslash(char32_t value) noexcept {
  return value == '\\' ||
         (value >= 0x80 && std::ranges::binary_search(tables::likeBackslash(), value));
}

}  // namespace idlewyn::platform
