// SPDX-License-Identifier: MIT
#include <algorithm>
#include <csignal>
#include <random>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include <tools/idlewyn/commands/Commands.hpp>
#include <tools/idlewyn/notify/NotifierModule.hpp>
#include <tools/idlewyn/prompts/PromptChoice.hpp>
#include <tools/idlewyn/sessions/SessionReport.hpp>
#include <tools/idlewyn/sessions/SharedSnapshot.hpp>
#include <tools/idlewyn/terminal/Screen.hpp>
#include <tools/idlewyn/watch/Dashboard.hpp>
#include <tools/idlewyn/watch/DesktopAnswer.hpp>
#include <tools/idlewyn/watch/PromptNotices.hpp>
#include <tools/idlewyn/watch/WatchReport.hpp>
#include <tools/idlewyn/watch/Watcher.hpp>

namespace idlewyn::command {
namespace {

using Clock = std::chrono::steady_clock;
constexpr Watcher::Seconds tick{1};
constexpr std::size_t newsShown = 4;

std::function<double()> chance() {
  return [engine = std::mt19937(std::random_device()())]() mutable {
    return std::uniform_real_distribution<double>(0, 1)(engine);
  };
}

// Of a pipe: a round that writes nothing would not notice.
bool isReaderGone() {
  pollfd output{STDOUT_FILENO, 0, 0};
  return poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0;
}

class Watch {
 public:
  Watch(const Arguments& given, Surroundings& with)
      : with_(with),
        agent_(given.agent()),
        rounds_(static_cast<std::uint64_t>(given.number("--count", 0))),
        watcher_(Watcher::Seconds(given.number("--interval", 5)), chance(), lastSeen(agent_)),
        tellsDesktop_(given.has("--notify")) {}

  ExitCode run();

 private:
  void takeScreen();
  void startNotices();
  void noteNews();
  void say(std::string line);
  void sendAnswers();
  std::vector<PromptRecord> open() const;
  void tellEnd();
  void readConnections();
  std::vector<SessionTransition> ask();
  void reportText(const std::vector<SessionTransition>& transitions);
  void report(const std::vector<SessionTransition>& transitions);
  void redraw();
  void sleep();
  ExitCode exitCode() const { return exitCodeOf(watcher_.errors(), watcher_.agents().size()); }

  Surroundings& with_;
  const std::optional<AgentProvider> agent_;
  const std::uint64_t rounds_;
  Watcher watcher_;
  const bool tellsDesktop_;
  std::optional<Screen> screen_;
  std::optional<PromptNotices> notices_;
  bool isMissingTold_ = false;
  /// Readings of the connections that failed in a row, and when to read again.
  int unread_ = 0;
  Clock::time_point readingDue_;
  std::optional<std::string> written_;
  std::vector<NoticeAnswer> pressed_;
  std::vector<WatchAnswerRecord> answered_;
  std::deque<std::string> news_;
};

// Signals come while a call of `relays` runs, and so never in the midst of drawing.
void Watch::takeScreen() {
  if (with_.output.isJSON || !Screen::isPossible()) return;
  screen_.emplace();
  with_.relays.onSignals({SIGWINCH, SIGTSTP}, [this](int signal) {
    if (signal == SIGTSTP) {
      screen_->leave();
      raise(SIGSTOP);
      screen_->enter();
    }
    redraw();
  });
}

void Watch::startNotices() {
  if (!tellsDesktop_) return;
  try {
    std::function<void()> show;
    if (const auto dashboard = installedDashboard())
      show = [program = *dashboard] { openDashboard(program); };
    notices_.emplace(loadNotifier(), std::move(show));
    with_.relays.onInput(notices_->notifier().descriptor(), [this] { noteNews(); });
  } catch (const Failure& failure) {
    say(failure.message + " What changes is told here only.");
  }
}

void Watch::noteNews() {
  for (NoticeAnswer& answer : notices_->take())
    pressed_.push_back(std::move(answer));
  const Notifier& notifier = notices_->notifier();
  if (notifier.state() == NotifierState::unavailable && !std::exchange(isMissingTold_, true)) {
    say(notifier.description() + " What changes is told here only.");
  }
  with_.relays.wake();
}

void Watch::say(std::string line) {
  if (!screen_) return with_.output.note(line);
  news_.push_back(timeOfDay() + "  " + std::move(line));
  if (news_.size() > newsShown) news_.pop_front();
}

// What can't be answered any more is said and dropped; each agent answered is asked at once what
// is open now.
void Watch::sendAnswers() {
  for (const NoticeAnswer& answer : std::exchange(pressed_, {})) {
    const auto agent = watcher_.agents().find(answer.prompt.agent);
    if (agent == watcher_.agents().end()) continue;
    const Connection connection = agent->second.connection;
    answered_.push_back(sendAnswer(answer, connection, with_.relays));
    say(answerLine(answered_.back()));
    notices_->tell(answered_.back());
    watcher_.hasten(answer.prompt.agent, Clock::now());
  }
}

// Again and again: another terminal may pair meanwhile. A keyring may be locked or restarted
// meanwhile, too; then those who are followed stay so.
void Watch::readConnections() {
  const auto now = Clock::now();
  if (now < readingDue_) return;
  try {
    watcher_.follow(with_.connections().paired(agent_));
    if (std::exchange(unread_, 0) > 0) say("The connections can be read again.");
  } catch (const Failure& failure) {
    if (failure.kind != "storage" || watcher_.agents().empty()) throw;
    if (++unread_ == 1) say(failure.message + " Watching goes on with those known so far.");
    readingDue_ = now + std::chrono::duration_cast<Clock::duration>(watcher_.waitAfter(unread_));
  }
}

std::vector<SessionTransition> Watch::ask() {
  readConnections();
  const auto now = Clock::now();
  const auto due = watcher_.due(now);
  if (due.empty()) return {};
  SnapshotResult result = with_.relays.snapshot(due, watcher_.snapshot());
  const bool isAnswered = result.errors.size() < due.size();
  auto transitions = watcher_.take(std::move(result), now, Clock::now());
  shareLastSeen(watcher_.lastSeen(), agent_, isAnswered);
  return transitions;
}

// What goes on and on, into a file or a journal say, is written when it has changed.
void Watch::reportText(const std::vector<SessionTransition>& transitions) {
  std::string content = watchContent(watcher_);
  if (transitions.empty() && content == written_) return;
  reportRound(with_.output, watcher_, transitions, Clock::now());
  written_ = std::move(content);
}

void Watch::report(const std::vector<SessionTransition>& transitions) {
  const auto now = Clock::now();
  if (notices_) {
    notices_->tell(transitions);
    notices_->update(open());
  }
  if (with_.output.isJSON) {
    auto answers = tellsDesktop_ ? std::optional(std::exchange(answered_, {})) : std::nullopt;
    return reportRoundJSON(with_.output, watcher_, transitions, std::move(answers), now);
  }
  if (!screen_) return reportText(transitions);
  for (const SessionTransition& transition : transitions)
    say(transitionLine(transition, with_.output.style));
  redraw();
}

// What an agent was seen with before this watching began may be over since days, and of one that
// does not answer nobody knows whether it still asks.
std::vector<PromptRecord> Watch::open() const {
  auto prompts = openPrompts(watcher_.snapshot().sessions);
  std::erase_if(prompts, [&](const PromptRecord& prompt) {
    const Watcher::Agent& agent = watcher_.agents().at(prompt.agent);
    return agent.error || !agent.hasAnsweredHere;
  });
  return prompts;
}

// Nobody may see the terminal or the journal.
void Watch::tellEnd() {
  std::string why;
  for (const auto& [provider, error] : watcher_.errors())
    why += std::string(shortName(provider)) + ": " + describe(error).message + "\n";
  notices_->tellEnd(why + "After that, start watching again.");
}

void Watch::redraw() {
  Style style = with_.output.style;
  style.width = Screen::size().columns;
  screen_->draw(watchScreen(watcher_, news_, Clock::now(), style));
}

// Until somebody is due. On a screen ages are shown, which go on between the rounds.
void Watch::sleep() {
  while (true) {
    sendAnswers();
    const auto next = watcher_.next(), now = std::optional(Clock::now());
    if (!next || next <= now) return;
    Watcher::Seconds left = *next - *now;
    if (screen_) left = std::min(left, tick);
    with_.relays.pause(left);
    if (screen_) redraw();
  }
}

ExitCode Watch::run() {
  with_.relays.listen();
  takeScreen();
  startNotices();
  for (std::uint64_t round = 1;; ++round) {
    report(ask());
    if (!with_.output.finish() || isReaderGone()) return ExitCode::failure;
    if (round == rounds_ || !watcher_.next()) break;
    sleep();
  }
  if (notices_ && !watcher_.next()) tellEnd();
  return exitCode();
}

}  // namespace

ExitCode runWatch(const Arguments& given, Surroundings& with) { return Watch(given, with).run(); }

}  // namespace idlewyn::command
