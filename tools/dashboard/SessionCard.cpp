// SPDX-License-Identifier: MIT
#include <tools/dashboard/SessionCard.hpp>

#include <memory>
#include <string>
#include <utility>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/platform/text/DisplayText.hpp>

namespace dashboard {
namespace {

using namespace idlewyn;

// What a button does, owned by its signal.
struct Press {
  SessionCard::Answer answer;
  PermissionDecision decision;
};

// A label takes the keyboard when it is clicked, for Ctrl+C, but is no stop of the Tab key.
void makeSelectableByPointer(GtkWidget* label) {
  gtk_label_set_selectable(GTK_LABEL(label), TRUE);
  gtk_widget_set_can_focus(label, FALSE);
  GtkGesture* click = gtk_gesture_click_new();
  gtk_event_controller_set_propagation_phase(GTK_EVENT_CONTROLLER(click), GTK_PHASE_CAPTURE);
  const auto pressed = [](GtkWidget* clicked) { gtk_widget_set_can_focus(clicked, TRUE); };
  g_signal_connect_swapped(click, "pressed", G_CALLBACK(+pressed), label);
  gtk_widget_add_controller(label, GTK_EVENT_CONTROLLER(click));
  GtkEventController* focus = gtk_event_controller_focus_new();
  const auto left = [](GtkWidget* leaving) {
    gtk_label_select_region(GTK_LABEL(leaving), 0, 0);
    gtk_widget_set_can_focus(leaving, FALSE);
  };
  g_signal_connect_swapped(focus, "leave", G_CALLBACK(+left), label);
  gtk_widget_add_controller(label, focus);
}

// As the library's own texts: no hyphen where a word is broken, no ligature in a command.
void drawAsWritten(GtkWidget* label) {
  PangoAttrList* attributes = pango_attr_list_new();
  pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
  pango_attr_list_insert(attributes, pango_attr_font_features_new("liga=0, clig=0, calt=0"));
  gtk_label_set_attributes(GTK_LABEL(label), attributes);
  pango_attr_list_unref(attributes);
}

GtkWidget* makeLabel(const std::string& text, const char* style) {
  GtkWidget* label = gtk_label_new(text.c_str());
  gtk_label_set_wrap(GTK_LABEL(label), TRUE);
  gtk_label_set_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  drawAsWritten(label);
  makeSelectableByPointer(label);
  gtk_widget_add_css_class(label, style);
  return label;
}

}  // namespace

SessionCard::SessionCard(Answer answer)
    : answer_(std::move(answer)), box_(gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::s)) {
  g_object_ref_sink(box_);
  gtk_widget_add_css_class(box_, "card");
  gtk_widget_set_hexpand(view_.widget(), TRUE);
  gtk_box_append(GTK_BOX(box_), view_.widget());
}

SessionCard::~SessionCard() { g_object_unref(box_); }

void SessionCard::show(const AgentSession& session, std::optional<Date> oldSince, bool isAnswering,
                       Look look) {
  view_.show(CardView{session, oldSince}, look);
  if (std::string name = displayLine(session.projectName()); name_ != name) {
    name_ = std::move(name);
    gtk_accessible_update_property(GTK_ACCESSIBLE(box_), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                   name_.c_str(), -1);
  }
  const auto offered = oldSince ? std::nullopt : session.permission;
  if (offered != shown_) {
    if (prompt_ != nullptr) gtk_box_remove(GTK_BOX(box_), std::exchange(prompt_, nullptr));
    buttons_ = nullptr;
    shown_ = offered;
    if (shown_) makePrompt(*shown_);
  }
  if (buttons_ != nullptr) gtk_widget_set_sensitive(buttons_, isAnswering ? FALSE : TRUE);
}

void SessionCard::makePrompt(const PermissionPrompt& prompt) {
  prompt_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, Spacing::s);
  gtk_widget_add_css_class(prompt_, "prompt");
  gtk_box_append(GTK_BOX(prompt_), makeLabel(displayLine(prompt.toolName), "tool"));
  gtk_box_append(GTK_BOX(prompt_), makeLabel(displayBlock(prompt.detail), "detail"));
  const bool hasRule = prompt.alwaysRule && !prompt.alwaysRule->empty();
  if (hasRule)
    gtk_box_append(GTK_BOX(prompt_),
                   makeLabel("Always adds: " + displayBlock(*prompt.alwaysRule), "rule"));

  buttons_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, Spacing::xs);
  addButton("_Allow", "suggested-action", PermissionDecision::allow, prompt);
  addButton("_Deny", "destructive-action", PermissionDecision::deny, prompt);
  if (hasRule) addButton("Al_ways", "always", PermissionDecision::always, prompt);
  gtk_box_append(GTK_BOX(prompt_), buttons_);
  gtk_box_append(GTK_BOX(box_), prompt_);
}

GtkWidget* SessionCard::addButton(const char* label, const char* style, PermissionDecision decision,
                                  const PermissionPrompt& prompt) {
  GtkWidget* button = gtk_button_new_with_mnemonic(label);
  gtk_widget_add_css_class(button, style);
  // A screen reader hears what the button is about, not only "Allow".
  std::string title(rawValue(decision));
  title.front() = static_cast<char>(g_ascii_toupper(title.front()));
  gtk_accessible_reset_relation(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_RELATION_LABELLED_BY);
  gtk_accessible_update_property(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 (title + " " + displayLine(prompt.toolName)).c_str(),
                                 GTK_ACCESSIBLE_PROPERTY_DESCRIPTION,
                                 displayBlock(prompt.detail).c_str(), -1);
  const auto pressed = [](GtkButton*, gpointer data) {
    const Press press = *static_cast<Press*>(data);  // the button may go meanwhile
    press.answer(press.decision);
  };
  g_signal_connect_data(
      button, "clicked", G_CALLBACK(+pressed), new Press{answer_, decision},
      [](gpointer data, GClosure*) { delete static_cast<Press*>(data); },
      static_cast<GConnectFlags>(0));
  gtk_box_append(GTK_BOX(buttons_), button);
  return button;
}

}  // namespace dashboard
