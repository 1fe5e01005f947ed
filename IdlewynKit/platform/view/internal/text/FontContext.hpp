// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <pango/pangocairo.h>

#include <IdlewynKit/platform/view/Font.hpp>
#include <IdlewynKit/platform/view/internal/text/GObjectReference.hpp>

namespace idlewyn::platform::internal {

struct FontDescriptionFree {
  void operator()(PangoFontDescription* description) const noexcept {
    pango_font_description_free(description);
  }
};

/// What Pango needs to know of a font at a size.
struct ResolvedFont {
  Font font;
  double size = 0;  ///< points
  std::unique_ptr<PangoFontDescription, FontDescriptionFree> description;
  double capHeight = 0;
};

/// A thread's fonts and the one layout that it reuses. Sizes are absolute, nothing is hinted and
/// no position is rounded, so that a text is equally wide at every scale.
class FontContext {
 public:
  /// This thread's; made anew after the families of the process have changed, and when it has
  /// seen many fonts, for Pango keeps about 100 kB of each. What came from it before is gone then.
  static FontContext& current();

  PangoLayout* layout() const noexcept { return layout_.get(); }
  const ResolvedFont& resolve(const Font& font, double size);
  /// The width, in Pango's units, of the widest of the ten digits from `zero` on.
  int widestDigit(const PangoAnalysis& analysis, std::uint32_t zero);
  /// Grows with each change of the families.
  std::uint64_t generation() const noexcept { return generation_; }

 private:
  struct DigitWidth {
    GObjectReference<PangoFont> font;
    std::uint32_t zero;
    int width;
  };

  explicit FontContext(std::uint64_t generation);
  bool isFull() const noexcept;

  std::uint64_t generation_;
  GObjectReference<PangoFontMap> map_;
  GObjectReference<PangoContext> context_;
  GObjectReference<PangoLayout> layout_;
  std::vector<std::unique_ptr<ResolvedFont>> fonts_;
  std::vector<DigitWidth> digits_;
};

/// The size at which a font is shaped: 0 for none, at most 2,000 points.
double shapedSize(const Font& font, double textScale);

}  // namespace idlewyn::platform::internal
