// SPDX-License-Identifier: MIT
#include <tools/dashboard/DashboardModel.hpp>

#include <algorithm>
#include <exception>
#include <random>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <IdlewynKit/glib/Executor.hpp>

#include <tools/idlewyn/prompts/AnswerDoubt.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>

namespace dashboard {
namespace {

using namespace idlewyn;
using Clock = std::chrono::steady_clock;

constexpr command::Watcher::Seconds interval{3};

std::function<double()> chance() {
  return [engine = std::mt19937(std::random_device()())]() mutable {
    return std::uniform_real_distribution<double>(0, 1)(engine);
  };
}

std::string outcome(PermissionDecision decision) {
  switch (decision) {
    case PermissionDecision::allow: return "Allowed.";
    case PermissionDecision::deny: return "Denied.";
    case PermissionDecision::always: return "Always allowed.";
  }
  return "Answered.";
}

}  // namespace

DashboardModel::DashboardModel(Find find, bool isDemo)
    : find_(std::move(find)),
      isDemo_(isDemo),
      service_{RelayClient(URLSession::shared())},
      watcher_(std::make_unique<Watcher>(interval, chance())) {
  look();
}

DashboardModel::~DashboardModel() {
  if (timer_ != 0) g_source_remove(timer_);
}

bool DashboardModel::look() {
  if (isDemo_) {
    if (!connections_.empty() && connections_.front().isDemo()) return false;
    reason_.clear();
    follow({Connection::demo(AgentProvider::claude), Connection::demo(AgentProvider::codex)});
    return true;
  }
  std::vector<Connection> found;
  std::string reason;
  try {
    found = find_();
  } catch (const std::exception&) {
    const bool isPaired = !connections_.empty() && !connections_.front().isDemo();
    if (isPaired) return false;  // those that are known may still answer
    reason = command::describe(std::current_exception()).message;
  }
  if (found == connections_ && reason == reason_) return false;
  reason_ = std::move(reason);
  follow(std::move(found));
  return true;
}

// The last shared snapshot stands until an agent answers, but not among demo sessions.
void DashboardModel::follow(std::vector<Connection> connections) {
  const bool wasPaired = !connections_.empty() && !connections_.front().isDemo();
  const bool isPaired = !connections.empty() && !connections.front().isDemo();
  if (!wasPaired || !isPaired)
    watcher_ = std::make_unique<Watcher>(
        interval, chance(), isPaired ? command::lastSeen(std::nullopt) : command::LastSeen{});
  connections_ = std::move(connections);
  watcher_->follow(connections_);
  answering_.clear();
  isStale_ = isFetching_;
}

void DashboardModel::start() { ask(); }

void DashboardModel::refresh() {
  if (look() && changed) changed();
  for (const Connection& connection : connections_)
    watcher_->hasten(connection.provider, Clock::now());
  ask();
}

void DashboardModel::setDemo(bool isDemo) {
  if (isDemo_ == isDemo) return;
  isDemo_ = isDemo;
  refresh();
}

void DashboardModel::ask() {
  if (timer_ != 0) g_source_remove(std::exchange(timer_, 0));
  if (isFetching_) {
    isWantedAgain_ = true;
    return;
  }
  // While all is well the keychain is left alone.
  if ((connections_.empty() || hasErrors()) && look() && changed) changed();
  const auto now = Clock::now();
  if (watcher_->due(now).empty()) return schedule();
  isFetching_ = true;
  boost::asio::co_spawn(glib::Executor(), fetch(weak_from_this(), now), boost::asio::detached);
}

// An agent that refuses its token is asked no more, but it may be paired anew meanwhile.
void DashboardModel::schedule() {
  const auto next = watcher_->next();
  const Watcher::Seconds wait = next ? std::clamp(Watcher::Seconds(*next - Clock::now()),
                                                  Watcher::Seconds(0.01), 60 * interval)
                                     : interval;
  timer_ = g_timeout_add(
      static_cast<guint>(wait.count() * 1'000) + 1,
      +[](gpointer self) -> gboolean {
        auto* model = static_cast<DashboardModel*>(self);
        model->timer_ = 0;
        model->ask();
        return G_SOURCE_REMOVE;
      },
      this);
}

boost::asio::awaitable<void> DashboardModel::fetch(std::weak_ptr<DashboardModel> weak,
                                                   Watcher::Time asked) {
  auto model = weak.lock();
  if (!model) co_return;
  auto pending = model->service_.snapshot(model->watcher_->due(asked), model->watcher_->snapshot());
  model.reset();  // the window may close meanwhile
  SnapshotResult result = co_await std::move(pending);
  model = weak.lock();
  if (model) model->take(std::move(result), asked);
}

void DashboardModel::take(SnapshotResult result, Watcher::Time asked) {
  isFetching_ = false;
  if (std::exchange(isStale_, false)) return ask();
  const auto sessions = watcher_->snapshot().sessions;
  const auto old = oldAgents();
  const auto errors = errorTexts();
  const Stage stage = this->stage();
  const bool isAnswered = result.errors.size() < watcher_->due(asked).size();
  watcher_->take(std::move(result), asked, Clock::now());
  if (!isDemo_) command::shareLastSeen(watcher_->lastSeen(), std::nullopt, isAnswered);
  const auto ended = std::erase_if(answering_, [this](const auto& answer) {
    return std::ranges::none_of(snapshot().sessions, [&](const AgentSession& session) {
      return session.permission && session.permission->id == answer.first;
    });
  });
  const bool isNew = ended > 0 || sessions != snapshot().sessions || errors != errorTexts() ||
                     stage != this->stage() || old.size() != oldAgents().size();
  if (isNew && changed) changed();
  if (std::exchange(isWantedAgain_, false)) return ask();
  schedule();
}

Stage DashboardModel::stage() const {
  if (!reason_.empty()) return Stage::unreadable;
  if (connections_.empty()) return Stage::unpaired;
  if (!snapshot().sessions.empty()) return Stage::sessions;
  const auto& agents = watcher_->agents();
  const auto isFailing = [](const auto& entry) { return entry.second.error != nullptr; };
  if (std::ranges::all_of(agents, isFailing)) return Stage::failed;
  const auto isOpen = [&](const auto& entry) {
    return !entry.second.hasAnsweredHere && !isFailing(entry);
  };
  return std::ranges::any_of(agents, isOpen) ? Stage::loading : Stage::empty;
}

command::OldAgents DashboardModel::oldAgents() const {
  command::OldAgents old;
  for (const auto& [provider, agent] : watcher_->agents())
    if (agent.error || !agent.hasAnsweredHere)
      old.emplace(provider, agent.answered.value_or(snapshot().updatedAt));
  return old;
}

std::map<AgentProvider, std::string> DashboardModel::errorTexts() const {
  std::map<AgentProvider, std::string> texts;
  for (const auto& [provider, error] : watcher_->errors())
    texts.emplace(provider, command::describe(error).message);
  return texts;
}

std::vector<Trouble> DashboardModel::troubles() const {
  std::vector<Trouble> result;
  for (const auto& [provider, sentence] : errorTexts())
    result.emplace_back(provider, sentence, watcher_->agents().at(provider).answered);
  return result;
}

void DashboardModel::answer(AgentProvider provider, const std::string& promptID,
                            PermissionDecision decision) {
  const auto agent = watcher_->agents().find(provider);
  if (agent == watcher_->agents().end() || !answering_.emplace(promptID, decision).second) return;
  if (changed) changed();
  boost::asio::co_spawn(glib::Executor(),
                        send(weak_from_this(), decision, promptID, agent->second.connection),
                        boost::asio::detached);
}

boost::asio::awaitable<void> DashboardModel::send(std::weak_ptr<DashboardModel> weak,
                                                  PermissionDecision decision, std::string promptID,
                                                  Connection connection) {
  auto model = weak.lock();
  if (!model) co_return;
  auto pending = model->service_.decide(decision, promptID, std::move(connection));
  model.reset();
  std::string message = outcome(decision);
  bool isFailed = false;
  try {
    co_await std::move(pending);
  } catch (const std::exception&) {
    message = command::describeAnswering(std::current_exception(), promptID).message;
    isFailed = true;
  }
  model = weak.lock();
  if (!model) co_return;
  if (isFailed) model->answering_.erase(promptID);  // it may be answered again
  if (model->told) model->told(std::move(message), isFailed);
  if (model->changed) model->changed();
  model->refresh();
}

}  // namespace dashboard
