// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <IdlewynKit/Export.hpp>

/// Which families stand for the designs of Font, in order of preference. A family that is not
/// installed is passed over.
///
///     FontFamilies families = fontFamilies();
///     families.standard.insert(families.standard.begin(), "Ubuntu");
///     setFontFamilies(families);
namespace idlewyn::platform {

struct FontFamilies {
  FontFamilies(std::vector<std::string> standard, std::vector<std::string> rounded,
               std::vector<std::string> monospaced)
      : standard(std::move(standard)),
        rounded(std::move(rounded)),
        monospaced(std::move(monospaced)) {}

  std::vector<std::string> standard;
  std::vector<std::string> rounded;  ///< followed by the standard ones
  std::vector<std::string> monospaced;
  friend bool operator==(const FontFamilies&, const FontFamilies&) = default;
};

/// The process's. Any thread; frames made before a change keep their fonts.
IDLEWYNKIT_EXPORT FontFamilies fontFamilies();
IDLEWYNKIT_EXPORT void setFontFamilies(const FontFamilies& families);

}  // namespace idlewyn::platform
