// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/internal/ViewPresenter.hpp>

#include <algorithm>
#include <cmath>

#include <IdlewynKit/gtk/internal/ElementWidget.hpp>
#include <IdlewynKit/platform/view/CairoPainter.hpp>
#include <IdlewynKit/platform/view/Painter.hpp>

namespace idlewyn::gtk {
namespace {

using platform::Date;
using platform::DateClock;
using platform::Frame;
using platform::Proposal;
using platform::Size;

// A name that changes by itself is told this often at most: a clock must not talk.
constexpr gint64 microsecondsBetweenNames = 30'000'000;
// A far change is looked at again in between; the clock may be set.
constexpr double longestWait = 3'600;

int wholePoints(double length) { return static_cast<int>(std::ceil(length - 1e-6)); }

/// What a body throws must not unwind GTK's C functions: such a view shows nothing.
template <class Make>
Frame contained(Make make) {
  try {
    return make();
  } catch (...) {
    return {};
  }
}

/// A name that the view before would have by now as well is the work of time alone.
bool isOfTime(const std::vector<std::string>* expected, std::size_t element,
              const std::string& name) {
  if (expected == nullptr) return true;
  return element < expected->size() && (*expected)[element] == name;
}

}  // namespace

ViewPresenter::ViewPresenter(GtkWidget* widget)
    : widget_(widget),
      observation_(DesktopSettings::shared().observe([this] { followDesktop(); })) {
  followDesktop();
}

ViewPresenter::~ViewPresenter() {
  stopClock();
  if (rebuild_ != 0) g_source_remove(rebuild_);
}

void ViewPresenter::setView(platform::View view) {
  Names expected;
  if (!elements_.empty()) {
    for (const auto& element : still(Proposal{allocated_.width, allocated_.height}).elements)
      expected.push_back(element.label);
  }
  view_ = std::move(view);
  update(Cause::change, &expected);
}

void ViewPresenter::setEnvironment(platform::Environment environment) {
  environment_ = std::move(environment);
  followDesktop();
}

void ViewPresenter::followDesktop() {
  const DesktopSettings& desktop = DesktopSettings::shared();
  environment_.appearance = desktop.appearance();
  environment_.textScale = desktop.textScale();
  environment_.animationsEnabled = desktop.animationsEnabled();
  update(Cause::change);
}

// Before the first allocation there is nothing that a change could move away from.
void ViewPresenter::update(Cause cause, const Names* expected) {
  measured_.clear();
  if (allocated_.width <= 0 || allocated_.height <= 0) {
    gtk_widget_queue_resize(widget_);
    return;
  }
  frame_ = next();
  const Size ideal = still(Proposal{}).size;
  if (cause == Cause::change || ideal != ideal_) gtk_widget_queue_resize(widget_);
  ideal_ = ideal;
  showElements(expected);
  gtk_widget_queue_draw(widget_);
  schedule();
}

Frame ViewPresenter::still(const Proposal& proposal) const {
  return contained(
      [&] { return platform::frameOf(view_, environment_, proposal, DateClock::now()); });
}

Frame ViewPresenter::next() {
  const Proposal proposal{allocated_.width, allocated_.height};
  return contained([&] { return host_.frame(view_, environment_, proposal, DateClock::now()); });
}

std::pair<int, int> ViewPresenter::measure(GtkOrientation orientation, int other) {
  const auto known = measured_.find({orientation, other});
  if (known != measured_.end()) return known->second;
  const std::optional<double> across = other < 0 ? std::nullopt : std::optional<double>(other);
  std::pair<int, int> result;
  if (orientation == GTK_ORIENTATION_HORIZONTAL) {
    const Size least = still(Proposal{0.0, across}).size;
    const Size natural = still(Proposal{std::nullopt, across}).size;
    result = {wholePoints(least.width), wholePoints(std::max(least.width, natural.width))};
  } else {
    const int height = wholePoints(still(Proposal{across, std::nullopt}).size.height);
    result = {height, height};
  }
  return measured_[{orientation, other}] = result;
}

void ViewPresenter::allocate(int width, int height) {
  const Size now{static_cast<double>(width), static_cast<double>(height)};
  if (now != allocated_) {
    allocated_ = now;
    frame_ = next();
    showElements();
    schedule();
  }
  placeElements();
}

platform::Point ViewPresenter::origin() const {
  return {std::max(0.0, (allocated_.width - frame_.size.width) / 2),
          std::max(0.0, (allocated_.height - frame_.size.height) / 2)};
}

void ViewPresenter::snapshot(GtkSnapshot* snapshot) {
  graphene_rect_t bounds;
  graphene_rect_init(&bounds, 0, 0, static_cast<float>(allocated_.width),
                     static_cast<float>(allocated_.height));
  cairo_t* target = gtk_snapshot_append_cairo(snapshot, &bounds);
  cairo_translate(target, origin().x, origin().y);
  try {
    platform::draw(frame_, target, gtk_widget_get_scale_factor(widget_));
  } catch (const platform::PaintError&) {
    // A frame that can't be drawn is left out; the elements still tell of it.
  }
  cairo_destroy(target);
}

void ViewPresenter::setMapped(bool isMapped) {
  isMapped_ = isMapped;
  if (isMapped) {
    update(Cause::time);
  } else {
    stopClock();
  }
}

void ViewPresenter::stopClock() {
  if (tick_ != 0) gtk_widget_remove_tick_callback(widget_, std::exchange(tick_, 0));
  if (timeout_ != 0) g_source_remove(std::exchange(timeout_, 0));
}

void ViewPresenter::schedule() {
  if (timeout_ != 0) g_source_remove(std::exchange(timeout_, 0));
  if (!isMapped_) return;
  if (frame_.isAnimating) {
    if (tick_ != 0) return;
    const auto tick = [](GtkWidget*, GdkFrameClock*, gpointer self) -> gboolean {
      static_cast<ViewPresenter*>(self)->update(Cause::time);
      return G_SOURCE_CONTINUE;
    };
    tick_ = gtk_widget_add_tick_callback(widget_, tick, this, nullptr);
    return;
  }
  if (tick_ != 0) gtk_widget_remove_tick_callback(widget_, std::exchange(tick_, 0));
  if (!frame_.nextChange) return;
  const double wait = std::clamp((*frame_.nextChange - DateClock::now()).count(), 0.0, longestWait);
  const auto due = [](gpointer self) -> gboolean {
    auto* presenter = static_cast<ViewPresenter*>(self);
    presenter->timeout_ = 0;
    presenter->update(Cause::time);
    return G_SOURCE_REMOVE;
  };
  timeout_ = g_timeout_add(static_cast<guint>(std::ceil(wait * 1'000)), due, this);
}

// New children can't be made while the widget is being allocated, so that waits for a moment.
void ViewPresenter::showElements(const Names* expected) {
  const auto& wanted = frame_.elements;
  const bool areSame = std::ranges::equal(
      elements_, wanted,
      [](const Element& shown, const auto& element) { return fits(shown.widget, element); });
  if (!areSame) {
    const auto rebuild = [](gpointer self) -> gboolean {
      static_cast<ViewPresenter*>(self)->rebuildElements();
      return G_SOURCE_REMOVE;
    };
    if (rebuild_ == 0) rebuild_ = g_idle_add(rebuild, this);
    return;
  }
  const gint64 now = g_get_monotonic_time();
  const bool isDue = now - toldAt_ >= microsecondsBetweenNames;
  if (isDue) toldAt_ = now;
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    Element& shown = elements_[i];
    if (shown.value != wanted[i].value && (isDue || expected != nullptr)) {
      shown.value = wanted[i].value;
      if (shown.value) tellValue(shown.widget, *shown.value);
    }
    if (shown.name != wanted[i].label && (isDue || !isOfTime(expected, i, wanted[i].label)))
      tellName(shown.widget, shown.name = wanted[i].label);
  }
}

void ViewPresenter::rebuildElements() {
  rebuild_ = 0;
  for (const Element& element : elements_)
    gtk_widget_unparent(element.widget);
  elements_.clear();
  for (const auto& element : frame_.elements) {
    GtkWidget* child = makeElementWidget(element);
    gtk_widget_set_parent(child, widget_);
    elements_.push_back(Element{child, element.label, element.value});
  }
  toldAt_ = g_get_monotonic_time();
  gtk_widget_queue_allocate(widget_);
}

void ViewPresenter::placeElements() {
  const platform::Point shift = origin();
  const std::size_t count = std::min(elements_.size(), frame_.elements.size());
  for (std::size_t i = 0; i < elements_.size(); ++i) {
    GtkAllocation place{0, 0, 0, 0};
    if (i < count) {
      const platform::Rect& rect = frame_.elements[i].rect;
      place = {static_cast<int>(std::floor(rect.left() + shift.x)),
               static_cast<int>(std::floor(rect.top() + shift.y)), wholePoints(rect.size.width),
               wholePoints(rect.size.height)};
    }
    int least = 0;
    gtk_widget_measure(elements_[i].widget, GTK_ORIENTATION_HORIZONTAL, -1, &least, nullptr,
                       nullptr, nullptr);  // GTK warns of children that were never measured
    gtk_widget_size_allocate(elements_[i].widget, &place, -1);
  }
}

void ViewPresenter::dispose() {
  stopClock();
  if (rebuild_ != 0) g_source_remove(std::exchange(rebuild_, 0));
  for (const Element& element : elements_)
    gtk_widget_unparent(element.widget);
  elements_.clear();
}

}  // namespace idlewyn::gtk
