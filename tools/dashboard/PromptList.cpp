// SPDX-License-Identifier: MIT
#include <tools/dashboard/PromptList.hpp>

#include <algorithm>
#include <utility>

#include <tools/dashboard/Widgets.hpp>

namespace dashboard {

using namespace idlewyn;

PromptList::PromptList(GtkWidget* inside, PromptCard::Answer answer)
    : box_(makeBox(GTK_ACCESSIBLE_ROLE_LIST, Spacing::m)),
      inside_(inside),
      pointer_(gtk_event_controller_motion_new()),
      answer_(std::move(answer)) {
  g_object_ref_sink(box_);
  setAccessibleName(box_, "Questions");
  connect(pointer_, "leave", [this] { sweepSoon(); });
  gtk_widget_add_controller(box_, pointer_);
  connect(box_, "realize", [this] { follow(gtk_widget_get_frame_clock(box_)); });
  connect(box_, "unrealize", [this] { follow(nullptr); });
}

PromptList::~PromptList() {
  if (sweep_ != 0) g_source_remove(sweep_);
  follow(nullptr);
  gtk_widget_remove_controller(box_, pointer_);
  g_object_unref(box_);
}

void PromptList::follow(GdkFrameClock* clock) {
  if (clock_ != nullptr) g_signal_handler_disconnect(clock_, std::exchange(layout_, 0));
  clock_ = clock;
  if (clock != nullptr)
    layout_ = g_signal_connect_after(clock, "layout", G_CALLBACK(&PromptList::placed), this);
}

void PromptList::placed(GdkFrameClock*, gpointer self) {
  auto* list = static_cast<PromptList*>(self);
  for (const auto& card : list->cards_)
    card->notePlace(list->inside_);
  if (list->wanted_.empty()) return;
  if (PromptCard* card = list->find(std::exchange(list->wanted_, ""))) card->focus();
}

bool PromptList::isPointed() const {
  return gtk_event_controller_motion_contains_pointer(GTK_EVENT_CONTROLLER_MOTION(pointer_)) !=
         FALSE;
}

PromptCard* PromptList::card(const OpenPrompt& prompt) {
  const auto found = std::ranges::find_if(
      cards_, [&](const auto& card) { return !card->isEnded() && card->prompt().isSame(prompt); });
  return found == cards_.end() ? nullptr : found->get();
}

void PromptList::show(std::vector<AgentSession> sessions,
                      const std::function<bool(const std::string&)>& isAnswering, Look look) {
  std::erase_if(sessions, [](const AgentSession& session) { return !session.permission; });
  std::ranges::stable_sort(
      sessions, {}, [](const AgentSession& session) { return session.permission->createdAt; });
  std::vector<PromptCard*> open;
  for (const AgentSession& session : sessions) {
    const OpenPrompt prompt{session.provider, session.id, session.projectName(),
                            *session.permission};
    PromptCard* shown = card(prompt);
    if (shown == nullptr) {
      cards_.push_back(std::make_unique<PromptCard>(prompt, answer_));
      shown = cards_.back().get();
      gtk_box_append(GTK_BOX(box_), shown->widget());
    }
    open.push_back(shown);
  }
  for (const auto& card : cards_) {
    if (std::ranges::find(open, card.get()) == open.end()) card->end();
    card->show(!card->isEnded() && isAnswering(card->prompt().prompt.id), look);
  }
  if (!isPointed()) sweep();
}

// GTK still needs the widgets that the pointer is leaving.
void PromptList::sweepSoon() {
  if (sweep_ != 0) return;
  sweep_ = g_idle_add(
      +[](gpointer self) -> gboolean {
        auto* list = static_cast<PromptList*>(self);
        list->sweep_ = 0;
        if (!list->isPointed()) list->sweep();
        return G_SOURCE_REMOVE;
      },
      this);
}

void PromptList::sweep() {
  const auto before = cards_.size();
  std::erase_if(cards_, [this](const auto& card) {
    if (!card->isEnded()) return false;
    if (card->hasFocus() && losesFocus) losesFocus();
    gtk_box_remove(GTK_BOX(box_), card->widget());
    return true;
  });
  if (cards_.size() != before && swept) swept();
}

PromptCard* PromptList::find(const std::string& promptID) const {
  const auto found = std::ranges::find_if(cards_, [&](const auto& card) {
    return !card->isEnded() && card->prompt().prompt.id == promptID;
  });
  return found == cards_.end() ? nullptr : found->get();
}

bool PromptList::goTo(const std::string& promptID) {
  if (find(promptID) == nullptr) return false;
  wanted_ = promptID;
  gtk_widget_queue_allocate(box_);
  return true;
}

void PromptList::guard() {
  for (const auto& card : cards_)
    card->guard();
}

}  // namespace dashboard
