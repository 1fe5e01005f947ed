// SPDX-License-Identifier: MIT
// Layout and painting of a thousand rows against Cairo and Pango used by hand, the night filter
// against memcpy, and what a list that ticks costs.
#include <time.h>

#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <cairo.h>

#include <IdlewynKit/platform/view/CairoPainter.hpp>
#include <IdlewynKit/platform/view/Host.hpp>
#include <IdlewynKit/platform/view/Views.hpp>
#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>

#include "support/Ratio.hpp"
#include "views/HandDrawn.hpp"

using namespace idlewyn::platform;
using namespace idlewyn::bench;

namespace {

constexpr Color ink(0.3, 0.3, 0.4);
constexpr Color blue(0, 0.4, 0.8);
constexpr Font meta = Font::system(TextStyle::caption);
constexpr Date start = dateFromReferenceSeconds(8e8);

View row(const RowTexts& texts) {
  const View badge = Label(texts.badge, "sparkle")
                         .font(Font::system(TextStyle::caption2).weight(FontWeight::semibold))
                         .padding(Edges::horizontal, 8)
                         .padding(Edges::vertical, 2)
                         .background(ink.opacity(0.15), Capsule());
  const View first = Row({Text(texts.title).font(Font::system(13, FontWeight::medium)), badge},
                         VerticalAlignment::centre, 4);
  const View activity = Label(texts.activity, "terminal")
                            .font(meta.monospaced())
                            .lineLimit(1)
                            .truncation(TruncationMode::middle)
                            .frame(columnWidth - 44 - 90);
  const View count = Row({ProgressBar(3, 8).frame(32), Text(texts.count).font(meta)},
                         VerticalAlignment::centre, 4);
  const View second = Row({activity, count}, VerticalAlignment::centre, 4);
  return Row({Symbol("checkmark.circle.fill").font(Font::system(20)).foreground(blue),
              Column({first, second, Text(texts.project).font(meta)}, HorizontalAlignment::leading,
                     2)},
             VerticalAlignment::centre, 4)
      .foreground(ink)
      .tint(blue);
}

View list(int round) {
  std::vector<View> stacks;
  for (int column = 0; column < columns; ++column) {
    std::vector<View> rows;
    for (int index = 0; index < rowsOfColumn; ++index)
      rows.push_back(row(rowTexts(index * columns + column, round)));
    stacks.push_back(Column(rows, HorizontalAlignment::leading, 2).frame(columnWidth));
  }
  return Row(stacks, VerticalAlignment::centre, 0);
}

Frame frame(const View& view, Date now = start) {
  return frameOf(view, Environment(), Proposal(), now);
}

/// A canvas that stays, so that only drawing is measured.
class FrameBuilder {
 public:
  FrameBuilder()
      : surface_(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 4200, 5000)),
        target_(cairo_create(surface_)) {}
  FrameBuilder(const FrameBuilder&) = delete;
  FrameBuilder& operator=(const FrameBuilder&) = delete;
  ~FrameBuilder() {
    cairo_destroy(target_);
    cairo_surface_destroy(surface_);
  }
  cairo_t* target() const { return target_; }

 private:
  cairo_surface_t* surface_;
  cairo_t* target_;
};

double processSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// Milliseconds of processor time for each second of a list whose twenty timers tick.
double ticking(cairo_t* target) {
  std::vector<View> rows;
  for (int index = 0; index < 20; ++index)
    rows.push_back(
        Row({row(rowTexts(index, 0)),
             Text::timer(start - std::chrono::seconds(index)).font(meta).monospacedDigits()}));
  const View view = Column(rows);
  Host host;
  draw(host.frame(view, Environment(), Proposal(), start), target, 1);
  constexpr int seconds = 100;
  const double begin = processSeconds();
  for (int second = 1; second <= seconds; ++second)
    draw(host.frame(view, Environment(), Proposal(), start + std::chrono::seconds(second)), target,
         1);
  return (processSeconds() - begin) * 1000 / seconds;
}

}  // namespace

int main(int argc, char** argv) {
  Comparisons comparisons(argc, argv);
  FrameBuilder canvas;
  HandDrawn hand;
  int round = 0;
  comparisons.atMost(
      "layout of 1,000 rows, new texts / by hand", 1.3,
      [&] { keep(frame(list(++round)).operations.size()); }, [&] { hand.layOut(++round); });

  const View view = list(0);
  comparisons.atMost(
      "layout of 1,000 rows, known texts / by hand", 0.25,
      [&] { keep(frame(view).operations.size()); }, [&] { hand.layOut(++round); });

  const Frame shown = frame(view);
  hand.layOut(0);
  for (const double scale : {1.0, 2.0}) {
    FrameBuilder ours, theirs;
    cairo_scale(ours.target(), scale, scale);
    cairo_scale(theirs.target(), scale, scale);
    comparisons.atMost(
        "paint of 1,000 rows at scale " + std::to_string(static_cast<int>(scale)) + " / by hand",
        1.05, [&] { draw(shown, ours.target(), scale); }, [&] { hand.paint(theirs.target()); });
  }

  const internal::ColorFilter night{1, 1.3, {1, 0.28, 0.22, 1}};
  std::vector<std::uint32_t> pixels(4'000'000, 0xFF6CB8FF), copy(pixels.size());
  comparisons.atMost(
      "night filter / memcpy", 4,
      [&] { internal::applyFilter(night, pixels.data(), pixels.size()); },
      [&] {
        std::memcpy(copy.data(), pixels.data(), pixels.size() * sizeof(pixels[0]));
        keep(copy.data());
      });
  comparisons.value("20 ticking rows, ms a second", 1.5, ticking(canvas.target()));
  return comparisons.finish();
}
