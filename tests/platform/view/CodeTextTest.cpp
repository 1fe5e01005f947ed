// SPDX-License-Identifier: MIT
#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/text/LogicalOrder.hpp>
#include <IdlewynKit/platform/view/FontFamilies.hpp>
#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/text/ShapedText.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

namespace idlewyn::platform {
namespace {

using namespace internal;

constexpr Font body = Font::system(13);
constexpr Font typewriter = body.monospaced();

std::vector<cairo_glyph_t> glyphsOf(std::string_view text, const Font& font,
                                    std::optional<double> width = {}) {
  std::vector<cairo_glyph_t> glyphs;
  for (const GlyphRun& run : shapeText({text, font, 1, width})->runs())
    glyphs.insert(glyphs.end(), run.glyphs.begin(), run.glyphs.end());
  return glyphs;
}

/// The glyphs' numbers by line, from left to right.
std::map<double, std::vector<unsigned long>> linesOf(std::string_view text, const Font& font,
                                                     std::optional<double> width) {
  std::map<double, std::vector<unsigned long>> lines;
  auto glyphs = glyphsOf(text, font, width);
  std::ranges::sort(glyphs, {}, [](const cairo_glyph_t& glyph) { return glyph.x; });
  for (const cairo_glyph_t& glyph : glyphs)
    lines[glyph.y].push_back(glyph.index);
  return lines;
}

double widthOf(std::string_view text, const Font& font) {
  return shapeText({text, font})->metrics().size.width;
}

TEST(CodeText, DrawsNoHyphenWhereAWordIsBroken) {
  const std::string word = "downloads.example.organization.and.more.of.it";
  for (const Font& font : {body, typewriter}) {
    const auto lines = linesOf(word, font, 100);
    ASSERT_GT(lines.size(), 2u);
    std::size_t count = 0;
    for (const auto& [y, glyphs] : lines)
      count += glyphs.size();
    EXPECT_EQ(count, word.size());
  }
}

TEST(CodeText, DrawsEachMonospacedCharacterByItself) {
  const FontFamilies before = fontFamilies();
  for (const char* family : {"JetBrains Mono", "DejaVu Sans Mono"}) {
    setFontFamilies({{family}, {family}, {family}});
    const std::string text = "!= -> => -- === <= fi www";
    const auto whole = glyphsOf(text, typewriter);
    ASSERT_EQ(whole.size(), text.size()) << family;
    for (std::size_t i = 0; i < text.size(); ++i)
      EXPECT_EQ(whole[i].index, glyphsOf(text.substr(i, 1), typewriter)[0].index)
          << family << ", " << text.substr(i);
  }
  setFontFamilies(before);
}

TEST(CodeText, KeepsFoldersInTheirOrder) {
  const std::string first = "\u05D0\u05D1", second = "\u05D2\u05D3";
  const auto xOf = [](const std::vector<cairo_glyph_t>& glyphs, const std::string& letter) {
    const unsigned long index = glyphsOf(letter, typewriter)[0].index;
    const auto found = std::ranges::find(glyphs, index, &cairo_glyph_t::index);
    return found == glyphs.end() ? -1 : found->x;
  };
  for (const std::string& path : {"rm " + first + "/" + second + "/x", first + "/" + second}) {
    const auto plain = glyphsOf(path, typewriter);
    EXPECT_GT(xOf(plain, "\u05D0"), xOf(plain, "\u05D2")) << "or the rest shows nothing";
    const auto code = glyphsOf(textInLogicalOrder(path, true), typewriter);
    EXPECT_LT(xOf(code, "\u05D0"), xOf(code, "\u05D2"));
    EXPECT_LT(xOf(code, "\u05D1"), xOf(code, "\u05D0")) << "letters run from right to left";
    EXPECT_NEAR(widthOf(textInLogicalOrder(path, true), typewriter), widthOf(path, typewriter),
                0.1);
  }
}

TEST(CodeText, BreaksNoLineBesideAHyphen) {
  const std::string text = "git clean -- --force --directories --exclude";
  const std::string code = textInLogicalOrder(text, true);
  EXPECT_NEAR(widthOf(code, typewriter), widthOf(text, typewriter), 0.1);
  const auto glyphOf = [](const char* letter) { return glyphsOf(letter, typewriter)[0].index; };
  const unsigned long hyphen = glyphOf("-"), blank = glyphOf(" ");
  for (double width = widthOf("--directories", typewriter) + 1; width < 300; width += 3) {
    auto lines = linesOf(code, typewriter, width);
    for (auto& [y, glyphs] : lines) {
      EXPECT_TRUE(glyphs[0] == hyphen || glyphs[0] == glyphOf("g") || glyphs[0] == glyphOf("c"));
      while (!glyphs.empty() && glyphs.back() == blank)
        glyphs.pop_back();
      std::size_t hyphens = 0;  // at the line's end
      while (hyphens < glyphs.size() && glyphs[glyphs.size() - 1 - hyphens] == hyphen)
        ++hyphens;
      EXPECT_TRUE(hyphens == 0 || hyphens == 2) << width;
    }
  }
}

TEST(CodeText, IsSpokenAsItIs) {
  const std::string path = "rm \u05D0/\u05D1 --force";
  const Frame frame = frameOf(Text(path).code(), Environment(), Proposal(), Date{});
  ASSERT_EQ(frame.elements.size(), 1u);
  EXPECT_EQ(frame.elements[0].label, path);
}

}  // namespace
}  // namespace idlewyn::platform
