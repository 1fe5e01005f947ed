// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/Symbols.hpp>
#include <IdlewynKit/platform/view/internal/Drawing.hpp>
#include <IdlewynKit/platform/view/internal/TextShaping.hpp>

#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::platform {
namespace {

constexpr RGBA red{1, 0, 0, 1};
constexpr RGBA white{1, 1, 1, 1};
constexpr LayerBegin night{1, 1, 1.3, {1, 0.28, 0.22, 1}};
constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

Frame frameOf(Size size, std::vector<DrawOperation> operations = {}) {
  Frame frame;
  frame.size = size;
  frame.operations = std::move(operations);
  return frame;
}

DrawOperation rectangle(double x, double y, double width, double height, const Paint& paint) {
  return RectangleOperation{{{x, y}, {width, height}}, paint};
}

std::uint32_t at(const Image& image, int x, int y) {
  return image.pixels.at(static_cast<std::size_t>(y * image.width + x));
}

int distance(const Image& a, const Image& b) {
  EXPECT_EQ(a.pixels.size(), b.pixels.size());
  int most = 0;
  for (std::size_t index = 0; index < std::min(a.pixels.size(), b.pixels.size()); ++index)
    for (int shift = 0; shift < 32; shift += 8)
      most = std::max(most, std::abs(static_cast<int>(a.pixels[index] >> shift & 0xFFU) -
                                     static_cast<int>(b.pixels[index] >> shift & 0xFFU)));
  return most;
}

PaintError::Code failureOf(const Frame& frame, double scale) {
  try {
    paintImage(frame, scale);
  } catch (const PaintError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.code();
  }
  ADD_FAILURE() << "painted " << frame.size.width << " x " << frame.size.height;
  return {};
}

TEST(Painter, roundsSidesUpToWholePixels) {
  struct Case {
    Size size;
    double scale;
    int width, height;
  };
  const Case cases[] = {{{10, 20}, 1, 10, 20},
                        {{10.1, 20.9}, 1, 11, 21},
                        {{10, 20}, 1.25, 13, 25},
                        {{3 * 0.1 * 10, 1}, 1, 3, 1},  // a hair over 3
                        {{0.1, 0.1}, 1, 1, 1}};
  for (const Case& known : cases) {
    const Image image = paintImage(frameOf(known.size), known.scale);
    EXPECT_EQ(image.width, known.width);
    EXPECT_EQ(image.height, known.height);
    EXPECT_EQ(at(image, 0, 0), 0U);
  }
}

TEST(Painter, saysWhyThereIsNoPicture) {
  using Code = PaintError::Code;
  struct Case {
    Size size;
    double scale;
    Code code;
  };
  const Case cases[] = {
      {{0, 10}, 1, Code::invalidSize},          {{10, -1}, 1, Code::invalidSize},
      {{notANumber, 10}, 1, Code::invalidSize}, {{10, 10}, 0, Code::invalidSize},
      {{-10, -10}, -1, Code::invalidSize},      {{10, 10}, notANumber, Code::invalidSize},
      {{infinity, 10}, 1, Code::tooLarge},      {{10, 10}, 1e30, Code::tooLarge},
      {{32'768, 1}, 1, Code::tooLarge},         {{20'000, 20'000}, 1, Code::tooLarge},
  };
  for (const Case& known : cases) {
    const Frame frame = frameOf(known.size, {rectangle(0, 0, 5, 5, red)});
    EXPECT_EQ(failureOf(frame, known.scale), known.code) << known.size.width << known.scale;
    if (known.scale != 1 || known.size.width == 20'000) continue;
    EXPECT_THROW(paintSVG(frame), PaintError);
    EXPECT_THROW(paintPDF(frame), PaintError);
  }
  std::vector<DrawOperation> nested(33, LayerBegin{0.5});
  nested.push_back(rectangle(0, 0, 5, 5, red));
  EXPECT_EQ(failureOf(frameOf({5, 5}, nested), 1), Code::tooLarge);
}

TEST(Painter, drawsWhatItCanOfOperationsThatMakeNoSense) {
  std::vector<DrawOperation> operations{LayerEnd{}, TextOperation{nullptr, {}, red}};
  const Point corner{1, 1};
  for (const double bad : {notANumber, infinity, -infinity, 1e300, 5e-324, 1e-40, 0.0}) {
    if (bad != 0 && !(std::abs(bad) < 1)) operations.push_back(rectangle(bad, 0, 5, 5, red));
    operations.push_back(rectangle(0, 0, bad, 5, red));
    operations.emplace_back(SymbolOperation{SymbolName::terminal, {corner, {5, bad}}, red});
    operations.emplace_back(CapsuleOperation{{corner, {bad, 5}}, red, true});
    operations.emplace_back(CapsuleOperation{{corner, {bad, bad}}, red, false});
    operations.emplace_back(RectangleOperation{{{9, 9}, {5, 5}}, red, bad});
    operations.emplace_back(RectangleOperation{
        {{9, 9}, {5, 5}}, GradientPaint{RGBA{}, RGBA{}, {bad, bad}, {bad, 1}}, bad});
    operations.emplace_back(SymbolOperation{SymbolName{200}, {{0, 0}, {bad, bad}}, red});
    operations.emplace_back(CapsuleOperation{{{0, bad}, {-5, 5}}, red});
    operations.emplace_back(LayerBegin{1, bad, notANumber, {bad, notANumber, 1, 1}});
    operations.emplace_back(LayerEnd{});
  }
  operations.insert(operations.end(), 1000, LayerBegin{});  // no effect, no cost, never ended
  operations.push_back(rectangle(0, 0, 5, 5, RGBA{notANumber, 9, -1, 1}));
  EXPECT_EQ(at(paintImage(frameOf({5, 5}, operations), 1), 2, 2), 0xFF00FF00);
}

TEST(Painter, blendsALayerAsAWhole) {
  const std::vector<DrawOperation> both{LayerBegin{0.5},
                                        rectangle(0, 0, 10, 10, red),
                                        rectangle(5, 0, 10, 10, white),
                                        LayerEnd{},
                                        LayerBegin{0},
                                        rectangle(0, 0, 15, 10, red),
                                        LayerEnd{}};
  const Image image = paintImage(frameOf({15, 10}, both), 1);
  EXPECT_EQ(at(image, 2, 5), 0x80800000);
  EXPECT_EQ(at(image, 7, 5), 0x80808080);  // the red beneath is hidden
}

/// The middle of each stroke between columns without ink.
std::vector<double> strokes(const Image& image) {
  std::vector<double> middles;
  double ink = 0, moment = 0;
  for (int x = 0; x < image.width; ++x) {
    double column = 0;
    for (int y = 0; y < image.height; ++y)
      column += at(image, x, y) >> 24U;
    ink += column;
    moment += column * (x + 0.5);
    if (column > 0 || ink == 0) continue;
    middles.push_back(moment / ink);
    ink = moment = 0;
  }
  return middles;
}

TEST(Painter, spacesLettersEvenlyAtEveryScale) {
  const auto text = shapeText({"llllllllllll", Font::system(18), 1, {}, {}, {}});
  for (const double scale : {1.0, 1.25, 1.7, 2.0}) {
    for (const LayerBegin& layer : {LayerBegin{}, night}) {
      const Frame frame = frameOf({100, 26}, {layer, TextOperation{text, {2.3, 1}, red}});
      const auto found = strokes(paintImage(frame, scale));
      ASSERT_EQ(found.size(), 12U) << scale;
      const double gap = (found.back() - found.front()) / 11;
      for (std::size_t letter = 1; letter < found.size(); ++letter)
        EXPECT_NEAR(found[letter] - found[letter - 1], gap, 0.4) << scale << ' ' << letter;
    }
  }
}

TEST(Painter, recordsWhatItWouldPaint) {
  const auto text = shapeText({"Needs input", Font::system(10), 1, {}, {}, {}});
  const Frame frame =
      frameOf({80, 20}, {TextOperation{text, {2.3, 1.6}, red}, rectangle(70, 3, 5, 5, red)});
  for (const int scale : {1, 2}) {
    cairo_surface_t* recording = cairo_recording_surface_create(CAIRO_CONTENT_COLOR_ALPHA, nullptr);
    cairo_t* target = cairo_create(recording);
    draw(frame, target, scale);
    cairo_destroy(target);
    Image image(80 * scale, 20 * scale, std::vector<std::uint32_t>(1600UL * scale * scale));
    cairo_surface_t* shown = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(image.pixels.data()), CAIRO_FORMAT_ARGB32, image.width,
        image.height, image.width * 4);
    target = cairo_create(shown);
    cairo_scale(target, scale, scale);
    cairo_set_source_surface(target, recording, 0, 0);
    cairo_paint(target);
    cairo_destroy(target);
    cairo_surface_destroy(shown);
    cairo_surface_destroy(recording);
    EXPECT_LE(distance(image, paintImage(frame, scale)), 2) << scale;
  }
}

TEST(Painter, filtersWithoutMovingAPixel) {
  // The same picture, its colours multiplied by hand.
  const auto content = [](double by) {
    const RGBA blue{0.2 * by, 0.4 * by, 0.8 * by, 1};
    return std::vector<DrawOperation>{
        rectangle(3.3, 4.6, 20.2, 7.7, blue), CapsuleOperation{{{2.1, 14.2}, {25.3, 9.1}}, blue},
        TextOperation{shapeText({"night", Font::system(13), 1, {}, {}, {}}), {4.4, 24.7}, blue},
        SymbolOperation{SymbolName::raisedHand, {{28.2, 3.3}, {15, 15}}, blue}};
  };
  for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0}) {
    std::vector<DrawOperation> filtered = content(1);
    filtered.insert(filtered.begin(), LayerBegin{1, 0, 1, {0.5, 0.5, 0.5, 1}});
    filtered.insert(filtered.begin(), rectangle(0, 0, 50, 9, white));
    filtered.emplace_back(LayerEnd{});
    std::vector<DrawOperation> plain = content(0.5);
    plain.insert(plain.begin(), rectangle(0, 0, 50, 9, white));
    EXPECT_LE(distance(paintImage(frameOf({50, 45}, filtered), scale),
                       paintImage(frameOf({50, 45}, plain), scale)),
              2)
        << scale;
  }
}

TEST(Painter, filtersLayersThatAreLargerThanASurface) {
  const std::vector<DrawOperation> tall{LayerBegin{0.5}, night, rectangle(0, 0, 300, 30'000, white),
                                        LayerEnd{}, LayerEnd{}};
  const Image image = paintImage(frameOf({300, 30'000}, tall), 1);
  EXPECT_EQ(std::count(image.pixels.begin(), image.pixels.end(), 0x8080241C),
            static_cast<std::ptrdiff_t>(image.pixels.size()));
}

TEST(Painter, embedsFilteredLayersInOutlines) {
  const auto marked = [](const Data& picture, std::string_view mark) {
    return picture.text().find(mark) != std::string_view::npos;
  };
  const Frame plain = frameOf({20, 10}, {rectangle(0, 0, 20, 10, white)});
  Frame filtered = plain;
  filtered.operations.insert(filtered.operations.begin(), night);
  EXPECT_FALSE(marked(paintSVG(plain), "<image"));
  EXPECT_TRUE(marked(paintSVG(plain), "width=\"20pt\" height=\"10pt\""));
  EXPECT_TRUE(marked(paintSVG(filtered), "<image"));
  EXPECT_FALSE(marked(paintPDF(plain), "/Subtype /Image"));
  EXPECT_TRUE(marked(paintPDF(filtered), "/Subtype /Image"));
}

TEST(Painter, drawsContinuousCapsulesOfAnyShape) {
  constexpr double scale = 8;
  for (const Size size : {Size{60, 20}, Size{20, 60}, Size{30, 20}, Size{20, 20}, Size{5, 20}}) {
    const Frame frame = frameOf(size, {CapsuleOperation{{{0, 0}, size}, red}});
    const Image image = paintImage(frame, scale);
    for (int y = 0; y < image.height; ++y) {
      for (int x = 0; x < image.width; ++x) {
        const double length = std::max(size.width, size.height);
        const double radius = std::min(size.width, size.height) / 2;
        const double end = std::min(1.25 * radius, length / 2);
        double along = std::abs((x + 0.5) / scale - size.width / 2);
        double across = std::abs((y + 0.5) / scale - size.height / 2);
        if (size.height > size.width) std::swap(along, across);
        along = std::max(0.0, along - (length / 2 - end));
        const double place = std::pow(along / end, 2.5) + std::pow(across / radius, 2);
        if (std::abs(place - 1) < 0.1) continue;  // the edge, smoothed
        EXPECT_EQ(at(image, x, y), place < 1 ? 0xFFFF0000 : 0U) << x << ' ' << y << ' ' << place;
      }
    }
  }
}

class PictureFile : public ::testing::Test {
 protected:
  static std::string contents(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  idlewyn::testing::TemporaryFolder temporary;
  std::filesystem::path folder = temporary.path();
  Frame frame = frameOf({4, 4}, {rectangle(0, 0, 4, 4, red)});
};

TEST_F(PictureFile, holdsTheSameAsTheBytes) {
  const auto file = folder / "a.png";
  paintPNG(frame, 2, file, white);
  EXPECT_EQ(contents(file), paintPNG(frame, 2, white).text());
  EXPECT_EQ(contents(file).substr(1, 3), "PNG");
  std::filesystem::create_symlink(file, folder / "link");
  paintSVG(frame, folder / "link");
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link"));
  EXPECT_NE(contents(file).find("<svg"), std::string::npos);
  paintPDF(frame, file);
  EXPECT_EQ(contents(file).substr(0, 4), "%PDF");
}

TEST_F(PictureFile, staysAsItWasWhenWritingFails) {
  const auto file = folder / "a.png";
  paintPNG(frame, 1, file);
  const std::string before = contents(file);
  EXPECT_THROW(paintPNG(frame, 0, file), PaintError);
  const auto failsOn = [&](const std::filesystem::path& bad) {
    try {
      paintPNG(frame, 1, bad);
      ADD_FAILURE() << bad;
    } catch (const PaintError& error) {
      EXPECT_EQ(error.code(), PaintError::Code::writeFailed) << bad;
    }
  };
  failsOn(folder);
  failsOn(folder / "none" / "b.png");
  failsOn(file / "b.png");
  failsOn("/dev/full");

  // No room for all of it.
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit few{16, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &few);
  failsOn(file);
  ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);

  EXPECT_EQ(contents(file), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

}  // namespace
}  // namespace idlewyn::platform
