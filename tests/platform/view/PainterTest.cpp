// SPDX-License-Identifier: MIT
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <set>

#include <sys/resource.h>
#include <unistd.h>

#include <cairo.h>

#include <IdlewynKit/platform/view/CairoPainter.hpp>
#include <IdlewynKit/platform/view/Symbols.hpp>
#include <IdlewynKit/platform/view/internal/text/TextShaping.hpp>

#include "ViewSupport.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::platform {
namespace {

using namespace internal;

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

TextOperation text(const char* letters, double size, Point origin, const Paint& paint = red) {
  return {shapeText({letters, Font::system(size), 1, {}, {}, {}}), origin, paint};
}

int furthest(const Image& a, const Image& b) {
  EXPECT_EQ(a.pixels.size(), b.pixels.size());
  int most = 0;
  for (std::size_t index = 0; index < std::min(a.pixels.size(), b.pixels.size()); ++index)
    most = std::max(most, distance(a.pixels[index], b.pixels[index]));
  return most;
}

std::optional<PaintError::Code> failureOf(const std::function<void()>& paint) {
  try {
    paint();
  } catch (const PaintError& error) {
    EXPECT_STRNE(error.what(), "");
    return error.code();
  }
  return {};
}

TEST(Painter, roundsSidesUpToWholePixels) {
  const std::tuple<Size, double, int, int> cases[] = {{{10, 20}, 1, 10, 20},
                                                      {{10.1, 20.9}, 1, 11, 21},
                                                      {{10, 20}, 1.25, 13, 25},
                                                      {{3 * 0.1 * 10, 1}, 1, 3, 1},  // a hair over
                                                      {{0.1, 0.1}, 1, 1, 1}};
  for (const auto& [size, scale, width, height] : cases) {
    const std::vector<std::uint32_t> clear(static_cast<std::size_t>(width * height));
    EXPECT_EQ(paintImage(frameOf(size), scale), Image(width, height, clear)) << width;
  }
}

TEST(Painter, saysWhyThereIsNoPicture) {
  using Code = PaintError::Code;
  const std::tuple<Size, double, Code> cases[] = {
      {{0, 10}, 1, Code::invalidSize},          {{10, -1}, 1, Code::invalidSize},
      {{notANumber, 10}, 1, Code::invalidSize}, {{10, 10}, 0, Code::invalidSize},
      {{-10, -10}, -1, Code::invalidSize},      {{10, 10}, notANumber, Code::invalidSize},
      {{infinity, 10}, 1, Code::tooLarge},      {{10, 10}, 1e30, Code::tooLarge},
      {{32'768, 1}, 1, Code::tooLarge},         {{20'000, 20'000}, 1, Code::tooLarge},
  };
  for (const auto& [size, scale, code] : cases) {
    const Frame frame = frameOf(size, {rectangle(0, 0, 5, 5, red)});
    EXPECT_EQ(failureOf([&, by = scale] { paintImage(frame, by); }), code) << size.width << scale;
    if (scale != 1 || size.width == 20'000) continue;
    EXPECT_EQ(failureOf([&] { paintSVG(frame); }), code) << size.width;
    EXPECT_EQ(failureOf([&] { paintPDF(frame); }), code) << size.width;
  }
  std::vector<DrawOperation> nested(33, LayerBegin{0.5});
  nested.push_back(rectangle(0, 0, 5, 5, red));
  EXPECT_EQ(failureOf([&] { paintImage(frameOf({5, 5}, nested), 1); }), Code::tooLarge);
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
  const LayerBegin half{0.5}, none{0};
  const LayerEnd end;
  const DrawOperation first = rectangle(0, 0, 10, 10, red), over = rectangle(5, 0, 10, 10, white);
  const Image image = paintImage(frameOf({15, 10}, {half, first, over, end, none, first, end}), 1);
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
  const TextOperation line = text("llllllllllll", 18, {2.3, 1});
  for (const double scale : {1.0, 1.25, 1.7, 2.0}) {
    for (const LayerBegin& layer : {LayerBegin{}, night}) {
      const auto found = strokes(paintImage(frameOf({100, 26}, {layer, line}), scale));
      ASSERT_EQ(found.size(), 12U) << scale;
      const double gap = (found.back() - found.front()) / 11;
      for (std::size_t letter = 1; letter < found.size(); ++letter)
        EXPECT_NEAR(found[letter] - found[letter - 1], gap, 0.4) << scale << ' ' << letter;
    }
  }
}

TEST(Painter, recordsWhatItWouldPaint) {
  const Frame frame =
      frameOf({80, 20}, {text("Needs input", 10, {2.3, 1.6}), rectangle(70, 3, 5, 5, red)});
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
    EXPECT_LE(furthest(image, paintImage(frame, scale)), 2) << scale;
  }
}

TEST(Painter, filtersWithoutMovingAPixel) {
  // The same picture, its colours multiplied by hand.
  const auto picture = [](const LayerBegin& layer, double by) {
    const RGBA blue{0.2 * by, 0.4 * by, 0.8 * by, 1};
    return frameOf(
        {50, 45},
        {rectangle(0, 0, 50, 9, white), layer, rectangle(3.3, 4.6, 20.2, 7.7, blue),
         CapsuleOperation{{{2.1, 14.2}, {25.3, 9.1}}, blue}, text("night", 13, {4.4, 24.7}, blue),
         SymbolOperation{SymbolName::raisedHand, {{28.2, 3.3}, {15, 15}}, blue}, LayerEnd{}});
  };
  const Frame filtered = picture({1, 0, 1, {0.5, 0.5, 0.5, 1}}, 1);
  for (const double scale : {1.0, 1.25, 1.5, 2.0, 3.0}) {
    const Image plain = paintImage(picture({}, 0.5), scale);
    EXPECT_LE(furthest(paintImage(filtered, scale), plain), 2) << scale;
  }
}

TEST(Painter, filtersLayersThatAreLargerThanASurface) {
  const std::vector<DrawOperation> tall{LayerBegin{0.5}, night, rectangle(0, 0, 300, 30'000, white),
                                        LayerEnd{}, LayerEnd{}};
  EXPECT_EQ(paintImage(frameOf({300, 30'000}, tall), 1),
            Image(300, 30'000, std::vector<std::uint32_t>(9'000'000, 0x8080241C)));
}

TEST(Painter, embedsFilteredLayersInOutlines) {
  for (const bool isFiltered : {false, true}) {
    const LayerBegin layer = isFiltered ? night : LayerBegin();
    const Frame frame = frameOf({20, 10}, {layer, rectangle(0, 0, 20, 10, white)});
    const Data svg = paintSVG(frame), pdf = paintPDF(frame);
    const std::string outlines(svg.text());
    EXPECT_TRUE(outlines.find("width=\"20pt\" height=\"10pt\"") != std::string::npos ||
                outlines.find("width=\"20\" height=\"10\"") != std::string::npos)  // cairo 1.18
        << outlines.substr(0, 300);
    EXPECT_EQ(svg.text().find("<image") != std::string::npos, isFiltered);
    EXPECT_EQ(pdf.text().find("/Subtype /Image") != std::string::npos, isFiltered);
  }
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

const Frame square = frameOf({4, 4}, {rectangle(0, 0, 4, 4, red)});

std::string contents(const std::filesystem::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

TEST(PictureFile, holdsTheSameAsTheBytes) {
  const idlewyn::testing::TemporaryFolder folder;
  const auto file = folder.path() / "a.png", link = folder.path() / "link";
  // Of another process with the same number, in another container.
  for (int number = 1; number < 100; ++number)
    std::ofstream(file.string() + '.' + std::to_string(getpid()) + '-' + std::to_string(number));
  paintPNG(square, 2, file, white);
  EXPECT_EQ(contents(file), paintPNG(square, 2, white).text());
  std::filesystem::permissions(file, std::filesystem::perms{0604});
  std::filesystem::create_symlink(file, link);
  paintSVG(square, link);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_NE(contents(file).find("<svg"), std::string::npos);
  EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms{0604});
  paintPDF(square, file);
  EXPECT_EQ(contents(file).substr(0, 4), "%PDF");
}

TEST(PictureFile, staysAsItWasWhenWritingFails) {
  const idlewyn::testing::TemporaryFolder temporary;
  const auto folder = temporary.path(), file = folder / "a.png";
  paintPNG(square, 1, file);
  const std::string before = contents(file);
  const auto failure = [](const std::filesystem::path& bad, double scale = 1) {
    return failureOf([&] { paintPNG(square, scale, bad); });
  };
  using Code = PaintError::Code;
  EXPECT_EQ(failure(file, 0), Code::invalidSize);
  for (const auto& bad :
       {folder, folder / "none" / "b.png", file / "b.png", std::filesystem::path("/dev/full")})
    EXPECT_EQ(failure(bad), Code::writeFailed) << bad;

  // No room for all of it.
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit few{16, limit.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &few);
  EXPECT_EQ(failure(file), Code::writeFailed);
  ::setrlimit(RLIMIT_FSIZE, &limit);
  std::signal(SIGXFSZ, handler);

  EXPECT_EQ(contents(file), before);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 1);
}

constexpr const char* systemNames[] = {
    "sparkle",          "chevron.left.forwardslash.chevron.right",
    "hand.raised.fill", "exclamationmark.triangle.fill",
    "terminal",         "circle.dotted.circle",
    "moon.zzz.fill",    "checkmark.circle.fill"};

/// A symbol in a box of `side` points, with a margin of 2 around it.
Image picture(SymbolName symbol, double side, double alpha = 1, double offset = 0) {
  Frame frame;
  frame.size = {side + 4, side + 4};
  const double at = 2 + offset;
  frame.operations.emplace_back(
      SymbolOperation{symbol, {{at, at}, {side, side}}, RGBA{0, 0, 0, alpha}});
  return paintImage(frame, 1);
}

TEST(Symbols, haveADrawingOfTheirOwnForEachKnownName) {
  std::set<std::vector<std::uint32_t>> pictures{picture(SymbolName::placeholder, 24).pixels};
  for (const std::string name : systemNames) {
    EXPECT_NE(symbolNamed(name), SymbolName::placeholder) << name;
    EXPECT_TRUE(pictures.insert(picture(symbolNamed(name), 24).pixels).second) << name;
    for (const std::string& other : {name + " ", name.substr(1), "S" + name.substr(1)})
      EXPECT_EQ(symbolNamed(other), SymbolName::placeholder) << other;
  }
  EXPECT_EQ(symbolNamed(""), SymbolName::placeholder);
}

TEST(Symbols, fillTheirBoxEvenlyAndStayInsideAtEverySize) {
  for (const char* name : systemNames) {
    for (const double side : {12.0, 16.8, 24.0, 33.6, 600.0}) {  // the last is beyond masks
      SCOPED_TRACE(std::string(name) + ' ' + std::to_string(side));
      const Image image = picture(symbolNamed(name), side, 0.5);
      double ink = 0;
      std::uint32_t darkest = 0;
      for (const std::uint32_t pixel : image.pixels) {
        ink += (pixel >> 24U) / 127.5;
        darkest = std::max(darkest, pixel >> 24U);
      }
      EXPECT_GT(ink / (side * side), 0.1) << "a symbol, no speck";
      EXPECT_LT(ink / (side * side), 0.8) << "nor a blot";
      EXPECT_NEAR(darkest, 128, side > 12 ? 1 : 10) << "what overlaps would be darker";
      for (int along = 0; along < image.width; ++along)
        EXPECT_EQ(at(image, along, 0) | at(image, 0, along) | at(image, image.width - 1, along),
                  0U);
    }
  }
}

TEST(Symbols, areSharpWhereverTheyStand) {
  const Image still = picture(SymbolName::terminal, 20);
  EXPECT_EQ(picture(SymbolName::terminal, 20, 1, 0.3), still);
  EXPECT_NE(picture(SymbolName::terminal, 20, 1, 0.7), still);  // by a whole pixel
}

}  // namespace
}  // namespace idlewyn::platform
