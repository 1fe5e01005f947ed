// SPDX-License-Identifier: MIT
// Views and environments of any shape give frames that hold together, whatever a host shows
// before and after, and that a painter can draw.
#include <bit>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>
#include <IdlewynKit/platform/view/Views.hpp>

#include "support/Require.hpp"

using namespace idlewyn;
using namespace idlewyn::platform;

namespace {

constexpr std::size_t mostViews = 200;

struct Key {
  static constexpr int defaultValue = 0;
};
struct Reader {
  View content;
  View body(const Environment& environment) const {
    return content.opacity(environment.value<Key>() % 2);
  }
};

/// Takes bytes from the front; zeros when there are none left.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return size_ == 0; }
  std::uint8_t byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  int below(int limit) { return byte() % limit; }
  double number() {
    const std::uint8_t kind = byte();
    if (kind < 224) return kind - 30.0;
    if (kind < 240) return byte() / 255.0;
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) {
      bits = bits << 8 | byte();
    }
    return std::bit_cast<double>(bits);
  }
  std::optional<double> maybe() { return below(3) ? std::optional(number()) : std::nullopt; }
  std::string text() {
    std::string result;
    for (int length = below(40); length > 0; --length) {
      result.push_back(static_cast<char>(byte()));
    }
    return result;
  }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

Color color(Bytes& bytes) {
  const double red = bytes.number(), green = bytes.number();
  return {red, green, bytes.number(), bytes.number()};
}

ShapeStyle style(Bytes& bytes) {
  if (bytes.below(2)) return Color(color(bytes), color(bytes));
  const Point from{bytes.number(), bytes.number()};
  const Color first = color(bytes);
  return LinearGradient(first, color(bytes), from, {bytes.number(), 1});
}

Font font(Bytes& bytes) {
  if (bytes.below(2)) return Font::system(static_cast<TextStyle>(bytes.below(8)));
  const Font font = Font::system(bytes.number(), static_cast<FontWeight>(100 * bytes.below(10)),
                                 static_cast<FontDesign>(bytes.below(3)));
  return bytes.below(2) ? font : font.monospacedDigit();
}

View leaf(Bytes& bytes) {
  constexpr const char* symbols[] = {"terminal", "moon.zzz.fill", "unknown"};
  switch (bytes.below(8)) {
    case 0: return Text(bytes.text());
    case 1: return Text::timer(dateFromReferenceSeconds(bytes.number()));
    case 2: return Text::relative(dateFromReferenceSeconds(bytes.number()));
    case 3: return Symbol(symbols[bytes.below(3)]);
    case 4: return Label(bytes.text(), symbols[bytes.below(3)]);
    case 5: return Spacer(bytes.number());
    case 6: return ProgressBar(bytes.number(), bytes.number());
    default: return {};
  }
}

View laidOut(const View& view, Bytes& bytes) {
  switch (bytes.below(4)) {
    case 0: return view.padding(static_cast<Edges>(bytes.below(16)), bytes.number());
    case 1: {
      const auto width = bytes.maybe();
      return view.frame(width, bytes.maybe(),
                        {static_cast<HorizontalAlignment>(bytes.below(3)),
                         static_cast<VerticalAlignment>(bytes.below(3))});
    }
    case 2: return view.background(style(bytes), Capsule{bytes.below(2) == 0});
    default: return view.background(style(bytes));
  }
}

View surrounded(const View& view, Bytes& bytes) {
  switch (bytes.below(8)) {
    case 0: return view.font(font(bytes));
    case 1: return view.foreground(style(bytes));
    case 2: return view.tint(style(bytes));
    case 3: return view.lineLimit(bytes.below(5) - 1).monospacedDigits();
    case 4: return view.truncation(static_cast<TruncationMode>(bytes.below(3)));
    case 5: return view.environment<Key>(bytes.byte());
    case 6: return view.environment(&Environment::textScale, bytes.number());
    default: return view.environment(&Environment::animationsEnabled, bytes.below(2) == 0);
  }
}

View modified(const View& view, Bytes& bytes) {
  switch (bytes.below(12)) {
    case 0:
    case 1: return laidOut(view, bytes);
    case 2:
    case 3: return surrounded(view, bytes);
    case 4: return view.opacity(bytes.number());
    case 5: return view.grayscale(bytes.number()).contrast(bytes.number());
    case 6: return view.colorMultiply(color(bytes));
    case 7: return view.animation(Animation::easeInOut(bytes.number()), bytes.byte());
    case 8: return view.pulse(bytes.byte());
    case 9:
      return bytes.below(2) ? view.accessibilityLabel(bytes.text()) : view.accessibilityElement();
    case 10: return view.id(bytes.text());
    default: return Reader{view};
  }
}

/// Works on a stack of views, so that bytes and not their nesting decide the shape.
View tree(Bytes& bytes) {
  std::vector<View> views;
  std::size_t made = 0;
  while (!bytes.empty() && made++ < mostViews) {
    const int step = bytes.below(8);
    if (views.empty() || step < 3) {
      views.push_back(leaf(bytes));
    } else if (step < 6) {
      views.back() = modified(views.back(), bytes);
    } else {
      const auto count = std::min<std::size_t>(views.size(), 1 + bytes.below(6));
      std::vector<View> children(views.end() - static_cast<std::ptrdiff_t>(count), views.end());
      views.resize(views.size() - count);
      const double spacing = bytes.number();
      views.push_back(
          step == 6
              ? View(Row(children, static_cast<VerticalAlignment>(bytes.below(3)), spacing))
              : View(Column(children, static_cast<HorizontalAlignment>(bytes.below(3)), spacing)));
    }
  }
  return Column(views);
}

void check(const Frame& frame, Date now) {
  int depth = 0;
  for (const DrawOperation& operation : frame.operations) {
    depth += std::holds_alternative<LayerBegin>(operation);
    depth -= std::holds_alternative<LayerEnd>(operation);
    fuzz::require(depth >= 0);
  }
  fuzz::require(depth == 0);
  fuzz::require(frame.size.width >= 0 && std::isfinite(frame.size.width));
  fuzz::require(frame.size.height >= 0 && std::isfinite(frame.size.height));
  fuzz::require(!frame.nextChange || *frame.nextChange > now);
  for (const AccessibleElement& element : frame.elements) {
    fuzz::require(!element.label.empty() || element.value.has_value());
    fuzz::require(std::isfinite(element.rect.left()) && std::isfinite(element.rect.bottom()));
  }
}

void paint(Frame frame) {
  if (frame.operations.empty()) return;
  frame.size = {40, 30};
  const Image image = paintImage(frame, 1);
  fuzz::require(image.pixels.size() == 40 * 30);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  Environment environment;
  environment.appearance = static_cast<Appearance>(bytes.below(2));
  environment.locale = bytes.below(2) ? "de_DE" : "";
  const double times[] = {bytes.number(), bytes.number(), 2};
  const auto width = bytes.maybe();
  const Proposal proposal{width, bytes.maybe()};
  const View first = tree(bytes);
  const View second = first.environment<Key>(1).pulse(1).animation(Animation::easeInOut(1), 1);
  const View third = first.environment<Key>(2).pulse(2).animation(Animation::easeInOut(1), 2);
  Host host;
  for (const View& view : {second, third, first}) {
    for (const double seconds : times) {
      const Date now = dateFromReferenceSeconds(seconds);
      const Frame frame = host.frame(view, environment, proposal, now);
      check(frame, now);
    }
  }
  const Frame frame = frameOf(first, environment, proposal, dateFromReferenceSeconds(times[0]));
  check(frame, dateFromReferenceSeconds(times[0]));
  paint(frame);
  return 0;
}
