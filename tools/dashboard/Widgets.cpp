// SPDX-License-Identifier: MIT
#include <tools/dashboard/Widgets.hpp>

#include <utility>

namespace dashboard {

namespace {

using Handler = std::function<void()>;

// Handlers may destroy the widget that called them, and themselves with it.
void call(gpointer data) {
  const Handler handler = *static_cast<Handler*>(data);
  handler();
}

}  // namespace

void connect(gpointer object, const char* signal, Handler done) {
  g_signal_connect_data(
      object, signal, G_CALLBACK(&call), new Handler(std::move(done)),
      [](gpointer data, GClosure*) { delete static_cast<Handler*>(data); }, G_CONNECT_SWAPPED);
}

GtkWidget* makeBox(GtkAccessibleRole role, int spacing) {
  return GTK_WIDGET(g_object_new(GTK_TYPE_BOX, "accessible-role", role, "orientation",
                                 GTK_ORIENTATION_VERTICAL, "spacing", spacing, nullptr));
}

GtkWidget* makeText(const std::string& text, GtkAccessibleRole role) {
  return GTK_WIDGET(g_object_new(GTK_TYPE_LABEL, "accessible-role", role, "label", text.c_str(),
                                 "xalign", 0.0, "wrap", TRUE, "wrap-mode", PANGO_WRAP_WORD_CHAR,
                                 nullptr));
}

GtkWidget* makeButton(const char* label, Handler pressed) {
  GtkWidget* button = gtk_button_new_with_mnemonic(label);
  gtk_widget_add_css_class(button, "pill");
  gtk_widget_set_halign(button, GTK_ALIGN_CENTER);
  connect(button, "clicked", std::move(pressed));
  // By itself GTK says the label with its underscore too.
  std::string name(label);
  std::erase(name, '_');
  gtk_accessible_reset_relation(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_RELATION_LABELLED_BY);
  setAccessibleName(button, name);
  return button;
}

void setDescription(AdwStatusPage* page, const std::string& text) {
  char* escaped = g_markup_escape_text(text.c_str(), static_cast<gssize>(text.size()));
  adw_status_page_set_description(page, escaped);
  g_free(escaped);
}

GtkWidget* makeClamp(GtkWidget* child) {
  constexpr int widest = 600, margin = 12;
  GtkWidget* clamp = adw_clamp_new();
  adw_clamp_set_maximum_size(ADW_CLAMP(clamp), widest);
  adw_clamp_set_tightening_threshold(ADW_CLAMP(clamp), widest);
  adw_clamp_set_child(ADW_CLAMP(clamp), child);
  gtk_widget_set_margin_start(clamp, margin);
  gtk_widget_set_margin_end(clamp, margin);
  return clamp;
}

void setAccessibleName(GtkWidget* widget, const std::string& name) {
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 name.c_str(), -1);
}

}  // namespace dashboard
