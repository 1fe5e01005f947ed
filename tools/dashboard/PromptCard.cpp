// SPDX-License-Identifier: MIT
#include <tools/dashboard/PromptCard.hpp>

#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

namespace {

constexpr guint millisecondsOfGuard = 1'000;

bool hasRule(const PermissionPrompt& prompt) {
  return prompt.alwaysRule && !prompt.alwaysRule->empty();
}

GtkWidget* makeRow() {
  GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, Spacing::xl);
  gtk_box_set_homogeneous(GTK_BOX(row), TRUE);
  return row;
}

}  // namespace

PromptCard::PromptCard(OpenPrompt prompt, Answer answer)
    : prompt_(std::move(prompt)),
      answer_(std::move(answer)),
      box_(makeBox(GTK_ACCESSIBLE_ROLE_LIST_ITEM, Spacing::m)) {
  g_object_ref_sink(box_);
  gtk_widget_add_css_class(box_, "card");
  gtk_widget_add_css_class(box_, "prompt");
  gtk_widget_set_focusable(box_, TRUE);
  gtk_box_append(GTK_BOX(box_), asker_.widget());
  gtk_box_append(GTK_BOX(box_), question_.widget());
  makeButtons();
  addShortcuts();
  guard();
}

PromptCard::~PromptCard() {
  if (guard_ != 0) g_source_remove(guard_);
  g_object_unref(box_);
}

// "Deny" and "Allow" look alike and stand at the two ends; "Always" has a row of its own, below
// the rule that it adds.
void PromptCard::makeButtons() {
  buttons_ = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, Spacing::m);
  GtkWidget* row = makeRow();
  gtk_box_append(GTK_BOX(row), makeAnswer("Deny", PermissionDecision::deny));
  gtk_box_append(GTK_BOX(row), makeAnswer("Allow", PermissionDecision::allow));
  gtk_box_append(GTK_BOX(buttons_), row);
  if (hasRule(prompt_.prompt)) {
    gtk_box_append(GTK_BOX(buttons_), rule_.widget());
    gtk_box_append(GTK_BOX(buttons_), makeAnswer("Always", PermissionDecision::always));
  }
  gtk_box_append(GTK_BOX(box_), buttons_);
}

// A screen reader hears what the button is about, not only "Allow".
GtkWidget* PromptCard::makeAnswer(const char* label, PermissionDecision decision) {
  GtkWidget* button = gtk_button_new_with_label(label);
  gtk_widget_add_css_class(button, "answer");
  gtk_accessible_reset_relation(GTK_ACCESSIBLE(button), GTK_ACCESSIBLE_RELATION_LABELLED_BY);
  setAccessibleName(button, std::string(label) + " " + displayLine(prompt_.prompt.toolName));
  answers_.push_back(button);
  connect(button, "clicked", [this, decision] { press(decision); });
  return button;
}

// The keys are heard only while the keyboard is in this card.
void PromptCard::addShortcuts() {
  GtkShortcutController* keys = GTK_SHORTCUT_CONTROLLER(gtk_shortcut_controller_new());
  gtk_shortcut_controller_set_scope(keys, GTK_SHORTCUT_SCOPE_LOCAL);
  using Pressed = gboolean (*)(GtkWidget*, GVariant*, gpointer);
  const auto add = [&](const char* trigger, Pressed pressed) {
    gtk_shortcut_controller_add_shortcut(
        keys, gtk_shortcut_new(gtk_shortcut_trigger_parse_string(trigger),
                               gtk_callback_action_new(pressed, this, nullptr)));
  };
  add("<Alt>a", [](GtkWidget*, GVariant*, gpointer self) -> gboolean {
    static_cast<PromptCard*>(self)->press(PermissionDecision::allow);
    return TRUE;
  });
  add("<Alt>d", [](GtkWidget*, GVariant*, gpointer self) -> gboolean {
    static_cast<PromptCard*>(self)->press(PermissionDecision::deny);
    return TRUE;
  });
  add("<Control>c", [](GtkWidget*, GVariant*, gpointer self) -> gboolean {
    static_cast<PromptCard*>(self)->copy();
    return TRUE;
  });
  gtk_widget_add_controller(box_, GTK_EVENT_CONTROLLER(keys));
}

void PromptCard::press(PermissionDecision decision) {
  if (guard_ != 0 || isEnded_ || isAnswering_) return gtk_widget_error_bell(box_);
  answer_(prompt_, decision);
}

void PromptCard::copy() const {
  gdk_clipboard_set_text(gtk_widget_get_clipboard(box_),
                         displayBlock(prompt_.prompt.detail).c_str());
}

// `gtk_widget_grab_focus` would choose a child.
void PromptCard::focus() {
  if (GtkRoot* root = gtk_widget_get_root(box_)) gtk_root_set_focus(root, box_);
}

GtkWidget* PromptCard::focusInside() const {
  GtkRoot* root = gtk_widget_get_root(box_);
  GtkWidget* focus = root == nullptr ? nullptr : gtk_root_get_focus(root);
  if (focus == nullptr) return nullptr;
  return focus == box_ || gtk_widget_is_ancestor(focus, box_) != FALSE ? focus : nullptr;
}

void PromptCard::show(bool isAnswering, Look look) {
  isAnswering_ = isAnswering;
  look_ = look;
  update();
}

void PromptCard::end() {
  if (std::exchange(isEnded_, true)) return;
  update();
}

void PromptCard::guard() {
  if (guard_ != 0) g_source_remove(guard_);
  guard_ = g_timeout_add(
      millisecondsOfGuard,
      +[](gpointer self) -> gboolean {
        auto* card = static_cast<PromptCard*>(self);
        card->guard_ = 0;
        card->update();
        return G_SOURCE_REMOVE;
      },
      this);
  update();
}

void PromptCard::notePlace(GtkWidget* inside) {
  graphene_rect_t place;
  if (gtk_widget_compute_bounds(buttons_, inside, &place) == FALSE) return;
  if (place_ && !graphene_rect_equal(&*place_, &place)) guard();
  place_ = place;
}

// The keyboard stays in the card while its buttons take nothing, and goes back to its button.
void PromptCard::update() {
  const std::string who =
      std::string(displayName(prompt_.provider)) + " in " + displayLine(prompt_.project);
  const std::string text = isEnded_       ? "No longer open: " + who
                           : isAnswering_ ? "Sending the answer: " + who
                                          : who + " asks";
  asker_.show(AskerView{text, !isEnded_}, look_);
  question_.show(QuestionView{prompt_.prompt.toolName, prompt_.prompt.detail}, look_);
  if (hasRule(prompt_.prompt)) rule_.show(RuleView{*prompt_.prompt.alwaysRule}, look_);
  setAccessibleName(box_, text + ": " + displayLine(prompt_.prompt.toolName));
  const bool isOpen = guard_ == 0 && !isEnded_ && !isAnswering_;
  if (std::exchange(isOpen_, isOpen) == isOpen) return;
  GtkWidget* focused = focusInside();
  if (!isOpen && focused != nullptr) {
    focused_ = focused;
    focus();
  }
  // Each by itself: screen readers do not look at what a button stands in.
  for (GtkWidget* button : answers_)
    gtk_widget_set_sensitive(button, isOpen ? TRUE : FALSE);
  if (isOpen && focused_ != nullptr && focusInside() == box_) gtk_widget_grab_focus(focused_);
  if (isOpen) focused_ = nullptr;
}

}  // namespace dashboard
