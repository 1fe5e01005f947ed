// SPDX-License-Identifier: MIT
#include <tools/dashboard/PairingPage.hpp>

#include <algorithm>
#include <exception>
#include <utility>

#include <IdlewynKit/platform/text/DisplayText.hpp>

#include <tools/dashboard/Widgets.hpp>
#include <tools/idlewyn/failure/Failure.hpp>
#include <tools/idlewyn/relays/Fingerprint.hpp>

namespace dashboard {

using namespace idlewyn;

namespace {

constexpr int space = 12;

std::string joined(const std::vector<std::string>& parts, const char* between) {
  std::string text;
  for (const std::string& part : parts)
    text += (text.empty() ? "" : between) + part;
  return text;
}

void append(GtkWidget* box, const char* name, const std::string& value, const char* style) {
  GtkWidget* heading = makeText(name);
  gtk_widget_add_css_class(heading, "heading");
  GtkWidget* text = makeText(value);
  gtk_label_set_selectable(GTK_LABEL(text), TRUE);
  gtk_widget_set_focusable(text, FALSE);
  gtk_widget_add_css_class(text, style);
  gtk_box_append(GTK_BOX(box), heading);
  gtk_box_append(GTK_BOX(box), text);
}

GtkWidget* makeFacts() {
  GtkWidget* facts = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, space / 2);
  gtk_widget_add_css_class(facts, "card");
  return facts;
}

AdwStatusPage* makePage(const char* icon, const char* title, GtkWidget* child) {
  AdwStatusPage* page = ADW_STATUS_PAGE(adw_status_page_new());
  adw_status_page_set_icon_name(page, icon);
  adw_status_page_set_title(page, title);
  adw_status_page_set_child(page, makeClamp(child));
  return page;
}

GtkEditable* addEntry(GtkWidget* list, const char* title) {
  GtkWidget* row = adw_entry_row_new();
  adw_preferences_row_set_title(ADW_PREFERENCES_ROW(row), title);
  gtk_list_box_append(GTK_LIST_BOX(list), row);
  return GTK_EDITABLE(row);
}

// The agents that have another pairing, which ends.
std::string replacedAgents() {
  std::vector<std::string> names;
  for (const Connection& connection : pairedAgents())
    if (!connection.isDemo()) names.emplace_back(displayName(connection.provider));
  return joined(names, ", ");
}

}  // namespace

PairingPage::PairingPage(Actions actions)
    : actions_(std::move(actions)),
      bin_(adw_bin_new()),
      entering_(makeEntering()),
      question_(makeConfirming()),
      working_(makeWorking()),
      turn_(std::make_shared<int>()) {
  g_object_ref_sink(bin_);
  for (AdwStatusPage* page : {entering_, question_, working_})
    g_object_ref_sink(page);
  show(entering_);
}

PairingPage::~PairingPage() {
  for (AdwStatusPage* page : {entering_, question_, working_})
    g_object_unref(page);
  g_object_unref(bin_);
}

void PairingPage::show(AdwStatusPage* page) { adw_bin_set_child(ADW_BIN(bin_), GTK_WIDGET(page)); }

AdwStatusPage* PairingPage::makeEntering() {
  GtkWidget* column = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, space);
  GtkWidget* list = gtk_list_box_new();
  gtk_list_box_set_selection_mode(GTK_LIST_BOX(list), GTK_SELECTION_NONE);
  gtk_widget_add_css_class(list, "boxed-list");
  offer_ = addEntry(list, "Pairing link or address");
  code_ = addEntry(list, "Pairing code");
  for (GtkEditable* entry : {offer_, code_}) {
    connect(entry, "changed", [this] { readEntries(); });
    connect(entry, "entry-activated", [this] { proceed(); });
  }
  error_ = makeText("", GTK_ACCESSIBLE_ROLE_ALERT);
  gtk_widget_add_css_class(error_, "error");
  GtkWidget* go = makeButton("_Continue", [this] { proceed(); });
  gtk_widget_add_css_class(go, "suggested-action");
  GtkWidget* demo = makeButton("Show _Demo Sessions", [this] { actions_.showDemo(); });
  for (GtkWidget* part : {list, error_, go, demo})
    gtk_box_append(GTK_BOX(column), part);
  AdwStatusPage* page = makePage("network-server-symbolic", "Pair an Agent", column);
  adw_status_page_set_description(
      page,
      "On the machine where the agents run, start <tt>idlewyn-relay setup</tt>. "
      "Enter the pairing link that it shows, or its address and code.");
  readEntries();
  return page;
}

AdwStatusPage* PairingPage::makeConfirming() {
  GtkWidget* column = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, space);
  facts_ = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, 0);
  GtkWidget* buttons = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 2 * space);
  gtk_widget_set_halign(buttons, GTK_ALIGN_CENTER);
  gtk_box_append(GTK_BOX(buttons), makeButton("_Cancel", [this] { begin(); }));
  gtk_box_append(GTK_BOX(buttons), makeButton("_Pair", [this] { pair(); }));
  gtk_box_append(GTK_BOX(column), facts_);
  gtk_box_append(GTK_BOX(column), buttons);
  return makePage("dialog-question-symbolic", "Pair With This Relay?", column);
}

AdwStatusPage* PairingPage::makeWorking() {
  GtkWidget* column = makeBox(GTK_ACCESSIBLE_ROLE_GROUP, space);
  GtkWidget* spinner = gtk_spinner_new();
  gtk_widget_set_size_request(spinner, 32, 32);
  gtk_spinner_start(GTK_SPINNER(spinner));
  gtk_box_append(GTK_BOX(column), spinner);
  return makePage("network-transmit-receive-symbolic", "", column);
}

void PairingPage::begin() {
  turn_ = std::make_shared<int>();
  link_.reset();
  gtk_editable_set_text(offer_, "");
  gtk_editable_set_text(code_, "");
  show(entering_);
}

void PairingPage::offer(const std::string& link) {
  begin();
  gtk_editable_set_text(offer_, link.c_str());
  try {
    if (PairingLink read = readOffer(link, ""); read.certificatePin) confirm(std::move(read));
  } catch (const std::exception&) {
    complain(command::describe(std::current_exception()).message);
  }
}

void PairingPage::focus() { gtk_widget_grab_focus(GTK_WIDGET(offer_)); }

// A link has its code in it.
void PairingPage::readEntries() {
  const bool isLink = isPairingLink(gtk_editable_get_text(offer_));
  gtk_widget_set_sensitive(GTK_WIDGET(code_), isLink ? FALSE : TRUE);
  complain("");
}

void PairingPage::complain(const std::string& sentence) {
  gtk_label_set_text(GTK_LABEL(error_), displayLine(sentence).c_str());
  gtk_widget_set_visible(error_, sentence.empty() ? FALSE : TRUE);
}

void PairingPage::work(const char* title) {
  adw_status_page_set_title(working_, title);
  show(working_);
}

void PairingPage::proceed() {
  try {
    PairingLink link = readOffer(gtk_editable_get_text(offer_), gtk_editable_get_text(code_));
    work("Looking at the Relay");
    lookAt(std::move(link),
           [this, turn = std::weak_ptr(turn_)](PairingLink seen, const std::string& error) {
             if (turn.expired()) return;
             if (error.empty()) return confirm(std::move(seen));
             show(entering_);
             complain(error);
           });
  } catch (const std::exception&) {
    complain(command::describe(std::current_exception()).message);
  }
}

void PairingPage::confirm(PairingLink link) {
  while (GtkWidget* old = gtk_widget_get_first_child(facts_))
    gtk_box_remove(GTK_BOX(facts_), old);
  GtkWidget* facts = makeFacts();
  append(facts, "Address", displayLine(link.serverURL.withoutUserInfo().text()), "body");
  if (link.certificatePin) {
    append(facts, "Certificate’s fingerprint",
           joined(command::fingerprintLines(*link.certificatePin), "\n"), "fingerprint");
  } else {
    append(facts, "Not encrypted",
           "Over http everybody on the way can read the token and the sessions.", "body");
  }
  const std::string replaced = replacedAgents();
  if (!replaced.empty()) append(facts, "Replaces the pairing of", replaced, "body");
  gtk_box_append(GTK_BOX(facts_), facts);
  adw_status_page_set_description(
      question_, link.certificatePin ? "Compare this with what the relay shows." : nullptr);
  link_ = std::move(link);
  show(question_);
}

void PairingPage::pair() {
  if (!link_) return;
  work("Pairing");
  pairAll(*std::exchange(link_, std::nullopt),
          [this, turn = std::weak_ptr(turn_)](const PairingOutcome& outcome) {
            if (!turn.expired()) end(outcome);
          });
}

void PairingPage::end(const PairingOutcome& outcome) {
  const std::string failures = joined(outcome.failures, "\n");
  if (outcome.paired.empty()) {
    show(entering_);
    return complain(failures);
  }
  std::string told = "Paired with " + joined(outcome.paired, " and ") + ".";
  if (!failures.empty()) told += " " + failures;
  begin();
  actions_.paired(told, !failures.empty());
}

}  // namespace dashboard
