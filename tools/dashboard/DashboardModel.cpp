// SPDX-License-Identifier: MIT
#include <tools/dashboard/DashboardModel.hpp>

#include <algorithm>
#include <exception>
#include <utility>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <IdlewynKit/glib/Executor.hpp>

namespace dashboard {
namespace {

using namespace idlewyn;

constexpr unsigned int secondsBetweenFetches = 3;

std::string outcome(PermissionDecision decision) {
  switch (decision) {
    case PermissionDecision::allow: return "Allowed.";
    case PermissionDecision::deny: return "Denied.";
    case PermissionDecision::always: return "Always allowed.";
  }
  return "Answered.";
}

}  // namespace

DashboardModel::DashboardModel(Find find)
    : find_(std::move(find)),
      service_{RelayClient(URLSession::shared())},
      snapshot_(SessionSnapshot::empty()) {
  look();
}

bool DashboardModel::isDemo() const {
  return !connections_.empty() &&
         std::ranges::all_of(connections_, [](const Connection& c) { return c.isDemo(); });
}

// The last shared snapshot is shown until the first fetch ends, but not among demo sessions.
bool DashboardModel::look() {
  std::vector<Connection> found;
  std::string unknown;
  try {
    found = find_();
  } catch (const std::exception&) {
    if (isPaired()) return false;  // those that are known may still answer
    unknown = errorDescription(std::current_exception());
  }
  if (found == connections_ && unknown == unknown_) return false;
  connections_ = std::move(found);
  unknown_ = std::move(unknown);
  snapshot_ = isPaired() ? SnapshotStore::shared().load() : SessionSnapshot::empty();
  errors_.clear();
  lastSeen_.clear();
  answered_.clear();
  for (const AgentSession& session : snapshot_.sessions)
    lastSeen_.emplace(session.provider, snapshot_.updatedAt);
  return true;
}

void DashboardModel::start() {
  refresh();
  const auto again = [](gpointer data) -> gboolean {
    const auto model = static_cast<std::weak_ptr<DashboardModel>*>(data)->lock();
    if (model) model->refresh();
    return model ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
  };
  g_timeout_add_seconds_full(
      G_PRIORITY_DEFAULT, secondsBetweenFetches, again,
      new std::weak_ptr<DashboardModel>(weak_from_this()),
      [](gpointer data) { delete static_cast<std::weak_ptr<DashboardModel>*>(data); });
}

void DashboardModel::refresh() {
  if (std::exchange(isFetching_, true)) return;
  // While all is well the keychain is left alone.
  if ((!isPaired() || !errors_.empty()) && look() && changed) changed();
  boost::asio::co_spawn(glib::Executor(), fetch(weak_from_this()), boost::asio::detached);
}

boost::asio::awaitable<void> DashboardModel::fetch(std::weak_ptr<DashboardModel> weak) {
  auto model = weak.lock();
  if (!model) co_return;
  auto pending = model->service_.snapshot(model->connections_, model->snapshot_);
  model.reset();  // the window may close meanwhile
  SnapshotResult result = co_await std::move(pending);
  model = weak.lock();
  if (model) model->show(std::move(result));
}

void DashboardModel::show(SnapshotResult result) {
  isFetching_ = false;
  std::map<AgentProvider, std::string> errors;
  for (const auto& [provider, error] : result.errors)
    errors.emplace(provider, errorDescription(error));
  bool isNew = errors != errors_ || result.snapshot.sessions != snapshot_.sessions;
  errors_ = std::move(errors);
  snapshot_ = std::move(result.snapshot);
  // The shared snapshot has one age for all: it must not make new what an agent said before.
  if (isPaired() && errors_.empty()) SnapshotStore::shared().save(snapshot_);
  for (const Connection& connection : connections_) {
    if (errors_.contains(connection.provider)) continue;
    lastSeen_.insert_or_assign(connection.provider, snapshot_.updatedAt);
    isNew |= answered_.insert(connection.provider).second;
  }
  isNew |= 0 < std::erase_if(answering_, [this](const auto& answer) {
             return std::ranges::none_of(snapshot_.sessions, [&](const AgentSession& session) {
               return session.permission && session.permission->id == answer.first;
             });
           });
  if (isNew && changed) changed();
}

std::optional<Date> DashboardModel::oldSince(AgentProvider provider) const {
  if (answered_.contains(provider) && !errors_.contains(provider)) return std::nullopt;
  const auto seen = lastSeen_.find(provider);
  return seen == lastSeen_.end() ? snapshot_.updatedAt : seen->second;
}

SessionSnapshot DashboardModel::liveSnapshot() const {
  SessionSnapshot live = snapshot_;
  std::erase_if(live.sessions,
                [&](const AgentSession& session) { return oldSince(session.provider); });
  return live;
}

std::vector<Trouble> DashboardModel::troubles() const {
  std::vector<Trouble> result;
  if (!unknown_.empty()) result.emplace_back(std::nullopt, unknown_, std::nullopt);
  for (const auto& [provider, sentence] : errors_) {
    const auto seen = lastSeen_.find(provider);
    result.emplace_back(provider, sentence,
                        seen == lastSeen_.end() ? std::nullopt : std::optional(seen->second));
  }
  return result;
}

const Connection* DashboardModel::connection(AgentProvider provider) const {
  const auto found = std::ranges::find(connections_, provider, &Connection::provider);
  return found == connections_.end() ? nullptr : &*found;
}

void DashboardModel::answer(const AgentSession& session, PermissionDecision decision) {
  const Connection* connection = this->connection(session.provider);
  if (connection == nullptr || !session.permission) return;
  if (!answering_.emplace(session.permission->id, decision).second) return;
  if (changed) changed();
  boost::asio::co_spawn(glib::Executor(),
                        send(weak_from_this(), decision, session.permission->id, *connection),
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
    message = errorDescription(std::current_exception());
    isFailed = true;
  }
  model = weak.lock();
  if (!model) co_return;
  if (isFailed) model->answering_.erase(promptID);  // it may be answered again
  if (model->told) model->told(std::move(message));
  if (model->changed) model->changed();
  model->refresh();
}

}  // namespace dashboard
