// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/view/internal/text/FontContext.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <string>

#include <hb-ot.h>
#include <hb.h>

#include <IdlewynKit/platform/view/FontFamilies.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

namespace idlewyn::platform::internal {
namespace {

constexpr double minimumSize = 0.01;
constexpr double maximumSize = 2000;
constexpr std::size_t maximumRemembered = 256;

struct Families {
  std::mutex mutex;
  FontFamilies value{{"Inter", "Cantarell", "DejaVu Sans", "sans-serif"},
                     {"Nunito", "Quicksand", "Comfortaa"},
                     {"JetBrains Mono", "DejaVu Sans Mono", "monospace"}};
  std::atomic<std::uint64_t> generation{1};
};

Families& families() {
  static auto& shared = *new Families;  // threads may outlive main
  return shared;
}

std::string familyList(FontDesign design) {
  const FontFamilies all = fontFamilies();
  std::vector<std::string> names = design == FontDesign::monospaced ? all.monospaced
                                   : design == FontDesign::rounded  ? all.rounded
                                                                    : all.standard;
  if (design == FontDesign::rounded)
    names.insert(names.end(), all.standard.begin(), all.standard.end());
  std::string list;
  for (std::string name : names) {
    std::erase_if(name, [](unsigned char byte) { return byte == ',' || byte < ' '; });
    if (!list.empty()) list += ',';
    list += name;
  }
  return list;
}

double capHeightOf(PangoFont* font) {
  hb_font_t* face = pango_font_get_hb_font(font);
  hb_position_t height = 0;
  if (hb_ot_metrics_get_position(face, HB_OT_METRICS_TAG_CAP_HEIGHT, &height) && height > 0)
    return static_cast<double>(height) / PANGO_SCALE;
  hb_codepoint_t glyph = 0;
  hb_glyph_extents_t extents{};
  if (hb_font_get_nominal_glyph(face, 'H', &glyph) &&
      hb_font_get_glyph_extents(face, glyph, &extents))
    return static_cast<double>(extents.y_bearing) / PANGO_SCALE;
  return 0;
}

}  // namespace

}  // namespace idlewyn::platform::internal

namespace idlewyn::platform {

FontFamilies fontFamilies() {
  const std::lock_guard lock(internal::families().mutex);
  return internal::families().value;
}

void setFontFamilies(const FontFamilies& value) {
  const std::lock_guard lock(internal::families().mutex);
  internal::families().value = value;
  ++internal::families().generation;
}

}  // namespace idlewyn::platform

namespace idlewyn::platform::internal {

double shapedSize(const Font& font, double textScale) {
  const double size = font.size() * (font.followsTextScale() ? textScale : 1);
  return size >= minimumSize ? std::min(size, maximumSize) : 0;
}

FontContext& FontContext::current() {
  thread_local std::unique_ptr<FontContext> context;
  const std::uint64_t generation = families().generation;
  if (context == nullptr || context->generation_ != generation || context->isFull())
    context.reset(new FontContext(generation));
  return *context;
}

FontContext::FontContext(std::uint64_t generation)
    : generation_(generation),
      map_(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT)),
      context_(pango_font_map_create_context(map_.get())) {
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(context_.get(), options);
  cairo_font_options_destroy(options);
  pango_context_set_round_glyph_positions(context_.get(), FALSE);
  layout_.reset(pango_layout_new(context_.get()));
  pango_layout_set_wrap(layout_.get(), PANGO_WRAP_WORD_CHAR);
}

bool FontContext::isFull() const noexcept { return fonts_.size() >= maximumRemembered; }

const ResolvedFont& FontContext::resolve(const Font& font, double size) {
  for (const auto& known : fonts_)
    if (known->size == size && known->font == font) return *known;

  ResolvedFont resolved{font, size, {}, 0};
  resolved.description.reset(pango_font_description_new());
  PangoFontDescription* description = resolved.description.get();
  pango_font_description_set_family(description, familyList(font.design()).c_str());
  pango_font_description_set_weight(description, static_cast<PangoWeight>(font.weight()));
  pango_font_description_set_absolute_size(description, size * PANGO_SCALE);
  const GObjectReference<PangoFont> loaded(pango_context_load_font(context_.get(), description));
  if (loaded != nullptr) resolved.capHeight = capHeightOf(loaded.get());
  return *fonts_.emplace_back(std::make_unique<ResolvedFont>(std::move(resolved)));
}

int FontContext::widestDigit(const PangoAnalysis& analysis, std::uint32_t zero) {
  for (const DigitWidth& known : digits_)
    if (known.font.get() == analysis.font && known.zero == zero) return known.width;
  if (digits_.size() >= maximumRemembered) digits_.clear();

  std::string text;
  for (std::uint32_t digit = 0; digit < 10; ++digit) {
    std::array<char, 6> bytes;
    const int length = g_unichar_to_utf8(zero + digit, bytes.data());
    text.append(bytes.data(), static_cast<std::size_t>(length));
  }
  PangoGlyphString* glyphs = pango_glyph_string_new();
  pango_shape(text.data(), static_cast<int>(text.size()), &analysis, glyphs);
  int width = 0;
  for (int index = 0; index < glyphs->num_glyphs; ++index)
    width = std::max(width, glyphs->glyphs[index].geometry.width);
  pango_glyph_string_free(glyphs);
  GObjectReference<PangoFont> font(PANGO_FONT(g_object_ref(analysis.font)));
  return digits_.emplace_back(DigitWidth{std::move(font), zero, width}).width;
}

}  // namespace idlewyn::platform::internal
