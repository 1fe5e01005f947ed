// SPDX-License-Identifier: MIT
#include <IdlewynKit/gtk/internal/ElementWidget.hpp>

#include <string>

namespace {

struct ElementWidget {
  GtkWidget parent;
};
struct ElementWidgetClass {
  GtkWidgetClass parent;
};

G_DEFINE_TYPE(ElementWidget, idlewyn_element_widget, GTK_TYPE_WIDGET)

void idlewyn_element_widget_class_init(ElementWidgetClass*) {}

// Clicks are for what stands below.
void idlewyn_element_widget_init(ElementWidget* self) {
  gtk_widget_set_can_target(GTK_WIDGET(self), FALSE);
}

}  // namespace

namespace idlewyn::gtk {
namespace {

using platform::AccessibleElement;
using platform::AccessibleRole;

GtkAccessibleRole roleOf(const AccessibleElement& element) {
  switch (element.role) {
    case AccessibleRole::text: return GTK_ACCESSIBLE_ROLE_LABEL;
    case AccessibleRole::image: return GTK_ACCESSIBLE_ROLE_IMG;
    case AccessibleRole::progressBar: return GTK_ACCESSIBLE_ROLE_PROGRESS_BAR;
    case AccessibleRole::group: break;
  }
  return GTK_ACCESSIBLE_ROLE_GROUP;
}

}  // namespace

GtkWidget* makeElementWidget(const AccessibleElement& element) {
  auto* widget = static_cast<GtkWidget*>(
      g_object_new(idlewyn_element_widget_get_type(), "accessible-role", roleOf(element), nullptr));
  tellName(widget, element.label);
  if (element.value) tellValue(widget, *element.value);
  return widget;
}

bool fits(GtkWidget* widget, const AccessibleElement& element) {
  return gtk_accessible_get_accessible_role(GTK_ACCESSIBLE(widget)) == roleOf(element);
}

void tellName(GtkWidget* widget, const std::string& name) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 name.c_str(), -1);
}

void tellValue(GtkWidget* widget, double value) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_VALUE_MIN, 0.0,
                                 GTK_ACCESSIBLE_PROPERTY_VALUE_MAX, 1.0,
                                 GTK_ACCESSIBLE_PROPERTY_VALUE_NOW, value, -1);
}

}  // namespace idlewyn::gtk
