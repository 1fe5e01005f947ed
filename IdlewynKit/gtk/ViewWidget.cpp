// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/ViewWidget.hpp>

#include <utility>

#include <IdlewynKit/gtk/internal/ViewPresenter.hpp>

namespace {

using idlewyn::gtk::ViewPresenter;

struct PresenterWidget {
  GtkWidget parent;
  ViewPresenter* presenter;
};
struct PresenterWidgetClass {
  GtkWidgetClass parent;
};

G_DEFINE_TYPE(PresenterWidget, idlewyn_view_widget, GTK_TYPE_WIDGET)

ViewPresenter& presenterOf(gpointer widget) {
  return *static_cast<PresenterWidget*>(widget)->presenter;
}

GtkSizeRequestMode requestMode(GtkWidget*) { return GTK_SIZE_REQUEST_HEIGHT_FOR_WIDTH; }

void measure(GtkWidget* widget, GtkOrientation orientation, int other, int* least, int* natural,
             int* leastBaseline, int* naturalBaseline) {
  const auto lengths = presenterOf(widget).measure(orientation, other);
  *least = lengths.first;
  *natural = lengths.second;
  *leastBaseline = -1;
  *naturalBaseline = -1;
}

void allocate(GtkWidget* widget, int width, int height, int) {
  presenterOf(widget).allocate(width, height);
}

void takeSnapshot(GtkWidget* widget, GtkSnapshot* snapshot) {
  presenterOf(widget).snapshot(snapshot);
}

void map(GtkWidget* widget) {
  GTK_WIDGET_CLASS(idlewyn_view_widget_parent_class)->map(widget);
  presenterOf(widget).setMapped(true);
}

void unmap(GtkWidget* widget) {
  presenterOf(widget).setMapped(false);
  GTK_WIDGET_CLASS(idlewyn_view_widget_parent_class)->unmap(widget);
}

void dispose(GObject* object) {
  presenterOf(object).dispose();
  G_OBJECT_CLASS(idlewyn_view_widget_parent_class)->dispose(object);
}

void finalize(GObject* object) {
  delete reinterpret_cast<PresenterWidget*>(object)->presenter;
  G_OBJECT_CLASS(idlewyn_view_widget_parent_class)->finalize(object);
}

void idlewyn_view_widget_class_init(PresenterWidgetClass* type) {
  GtkWidgetClass* widget = GTK_WIDGET_CLASS(type);
  widget->get_request_mode = requestMode;
  widget->measure = measure;
  widget->size_allocate = allocate;
  widget->snapshot = takeSnapshot;
  widget->map = map;
  widget->unmap = unmap;
  G_OBJECT_CLASS(type)->dispose = dispose;
  G_OBJECT_CLASS(type)->finalize = finalize;
  gtk_widget_class_set_accessible_role(widget, GTK_ACCESSIBLE_ROLE_GROUP);
}

void idlewyn_view_widget_init(PresenterWidget* self) {
  self->presenter = new ViewPresenter(GTK_WIDGET(self));
}

}  // namespace

namespace idlewyn::gtk {

// The reference is sunk, so that copies may come and go before a container takes the widget.
ViewWidget::ViewWidget(platform::View view)
    : widget_(static_cast<GtkWidget*>(g_object_new(idlewyn_view_widget_get_type(), nullptr))) {
  g_object_ref_sink(widget_);
  setView(std::move(view));
}

ViewWidget::ViewWidget(const ViewWidget& other) : widget_(other.widget_) { g_object_ref(widget_); }

ViewWidget& ViewWidget::operator=(const ViewWidget& other) {
  if (this == &other) return *this;
  g_object_unref(widget_);
  widget_ = other.widget_;
  g_object_ref(widget_);
  return *this;
}

ViewWidget::~ViewWidget() { g_object_unref(widget_); }

void ViewWidget::setView(platform::View view) { presenterOf(widget_).setView(std::move(view)); }

void ViewWidget::setEnvironment(platform::Environment environment) {
  presenterOf(widget_).setEnvironment(std::move(environment));
}

}  // namespace idlewyn::gtk
