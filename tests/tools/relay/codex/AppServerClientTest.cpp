// SPDX-License-Identifier: MIT
#include <tools/relay/agents/codex/AppServerClient.hpp>

#include <algorithm>
#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/Files.hpp>
#include <tests/tools/relay/codex/RecordingSink.hpp>

namespace idlewyn::relay::codex {
namespace {

using Notes = std::vector<std::string>;

::testing::AssertionResult has(const Notes& notes, const std::string& wanted) {
  if (std::find(notes.begin(), notes.end(), wanted) != notes.end())
    return ::testing::AssertionSuccess();
  auto result = ::testing::AssertionFailure() << "not \"" << wanted << "\" in:";
  for (const std::string& note : notes)
    result << "\n" << note;
  return result;
}

const std::string mainThread = "00000000-0000-4000-8000-000000000001";
const std::string subagent = "00000000-0000-4000-8000-000000000030";

/// Stands for an app-server: answers calls, and plays what a real one sent.
class AppServerClientTest : public ::testing::Test {
 protected:
  AppServerClientTest() { connect(); }

  void connect() {
    client_.reset();
    sent_.clear();
    subscribed_.clear();
    client_ = std::make_unique<AppServerClient>([this](std::string text) { take(text); }, sink_);
    client_->open();
  }

  /// Plays the recording up to the first message that contains `end`.
  void play(const std::string& name, std::string_view end = {}) {
    lines_.clear();
    std::istringstream file(testing::contentOf(std::string(IDLEWYN_TEST_DATA) +
                                               "/agents/codex/app-server-" + name + ".jsonl"));
    for (std::string line; std::getline(file, line);)
      lines_.push_back(line);
    ASSERT_FALSE(lines_.empty());
    next_ = 0;
    playOn(end);
  }

  void playOn(std::string_view end = {}) {
    while (next_ < lines_.size()) {
      const std::string& line = lines_[next_++];
      if (line.starts_with(R"({"method")")) client_->receive(line);
      if (!end.empty() && line.find(end) != std::string::npos) return;
    }
    ASSERT_TRUE(end.empty()) << "nothing in the recording contains " << end;
  }

  /// The answer that the client gave to a request, as JSON; empty when it gave none.
  std::string answerTo(std::int64_t request) const {
    for (const json::Object& message : sent_) {
      if (!message.contains("method") && json::number(message, "id") == request)
        return boost::json::serialize(message.at("result").at("decision"));
    }
    return {};
  }

  RecordingSink sink_;
  std::unique_ptr<AppServerClient> client_;
  std::vector<json::Object> sent_;
  std::vector<std::string> subscribed_;
  /// What the server says of the main thread.
  std::string status_ = R"({"type":"idle"})";
  std::string preview_ = "SCRIPT one";
  /// The item that a subscription with turns tells of.
  std::string item_;

 private:
  std::string thread(const std::string& id) const {
    const bool isMain = id == mainThread;
    return R"({"id":")" + id + R"(","sessionId":")" + (isMain || id == subagent ? mainThread : id) +
           R"(","ephemeral":)" + (isMain || id == subagent ? "false" : "true") + R"(,"preview":")" +
           (isMain ? preview_ : "") + R"(","cwd":"/home/ann/proj","status":)" + status_ +
           R"(,"turns":[{"items":[)" + item_ + "]}]}";
  }

  void take(const std::string& text) {
    const auto message = json::parsed(text);
    ASSERT_TRUE(message) << text;
    sent_.push_back(*message);
    const std::string_view method = json::text(*message, "method");
    const auto id = json::number(*message, "id");
    if (method.empty() || !id) return;
    const json::Object* parameters = json::object(*message, "params");
    const std::string threadID(json::text(*parameters, "threadId"));
    std::string result = "{}";
    if (method == "thread/loaded/list") result = R"({"data":[")" + mainThread + "\"]}";
    if (method == "thread/read" || method == "thread/resume")
      result = R"({"thread":)" + thread(threadID) + "}";
    if (method == "thread/resume") subscribed_.push_back(threadID);
    if (method == "thread/unsubscribe") std::erase(subscribed_, threadID);
    client_->receive(R"({"id":)" + std::to_string(*id) + R"(,"result":)" + result + "}");
  }

  std::vector<std::string> lines_;
  std::size_t next_ = 0;
};

TEST_F(AppServerClientTest, ShowsTheTerminalsQuestionAndWithdrawsItWhenTheTerminalAnswers) {
  EXPECT_TRUE(client_->owns(mainThread));
  play("one", "requestApproval");
  EXPECT_EQ(sink_.take(),
            (Notes{"seen SCRIPT one in /home/ann/proj", "began", "waits",
                   "p1 asks Bash: touch one.txt [Bash(touch one.txt, and whatever follows)]"}));
  playOn();
  EXPECT_EQ(sink_.take(), (Notes{"p1 withdrawn", "goes on", "finished All done."}));
  EXPECT_TRUE(subscribed_.empty()) << "an idle thread is left to its terminal";
}

TEST_F(AppServerClientTest, GivesTheAnswerThatWasTakenFromAfar) {
  const std::array<std::tuple<PermissionDecision, const char*>, 3> cases{
      {{PermissionDecision::allow, R"("accept")"},
       {PermissionDecision::deny, R"("decline")"},
       {PermissionDecision::always,
        R"({"acceptWithExecpolicyAmendment":{"execpolicy_amendment":["touch","one.txt"]}})"}}};
  for (const auto& [decision, verdict] : cases) {
    connect();
    play("one", "requestApproval");
    ASSERT_EQ(sink_.open.size(), 1U);
    sink_.answer(sink_.open.begin()->first, decision);
    EXPECT_EQ(answerTo(0), verdict);
    sink_.take();
    playOn();
    EXPECT_EQ(sink_.take(), (Notes{"goes on", "finished All done."}));
  }
}

TEST_F(AppServerClientTest, AsksEachOfSeveralQuestionsOnce) {
  play("both", "resolved");  // the recording repeats both, as a second subscription does
  EXPECT_EQ(sink_.open.size(), 1U);
  EXPECT_TRUE(has(sink_.take(), "p1 withdrawn"));
  playOn("resolved");
  EXPECT_EQ(sink_.take(), (Notes{"p2 withdrawn"}));
}

TEST_F(AppServerClientTest, ShowsAPatchWhole) {
  play("write", "requestApproval");
  EXPECT_TRUE(has(sink_.take(), "p1 asks apply_patch: Add /home/ann/proj/written.txt\nhello"));
}

TEST_F(AppServerClientTest, FetchesThePatchOfAQuestionThatWasOpenBeforeTheRelay) {
  item_ = R"({"type":"fileChange","id":"item","status":"inProgress",)"
          R"("changes":[{"path":"/x","kind":{"type":"delete"},"diff":"gone\n"}]})";
  status_ = R"({"type":"active","activeFlags":["waitingOnApproval"]})";
  const std::string request = R"({"method":"item/fileChange/requestApproval","id":7,"params":)"
                              R"({"threadId":")" +
                              mainThread + R"(","itemId":"item"}})";
  connect();
  client_->receive(request);
  EXPECT_TRUE(has(sink_.take(), "p1 asks apply_patch: Delete /x\ngone"));
}

TEST_F(AppServerClientTest, LeavesToTheTerminalWhatCannotBeShownWhole) {
  const std::string head = R"(","itemId":"i","command":"ls",)";
  const std::array<std::tuple<std::string, std::string, const char*>, 5> cases{
      {{"item/commandExecution", R"("kind":"writeStdin")", "input to a running program"},
       {"item/commandExecution", R"("kind":"humanCommand")", "a checkpoint that wants a person"},
       {"item/commandExecution", R"("networkApprovalContext":{"host":"h"})", "a host"},
       {"item/commandExecution", R"("additionalPermissions":{"network":{}})", "more than a run"},
       {"item/fileChange", R"("grantRoot":"/home/ann")", "every later write in a folder"}}};
  for (const auto& [method, member, reason] : cases) {
    client_->receive(R"({"method":")" + method +
                     R"(/requestApproval","id":9,"params":{"threadId":")" + mainThread + head +
                     member + "}}");
    EXPECT_TRUE(sink_.open.empty()) << reason;
    connect();
  }
}

TEST_F(AppServerClientTest, OffersAlwaysOnlyForTheRuleThatTheServerOffers) {
  const std::array<std::tuple<const char*, bool, const char*>, 5> cases{
      {{R"("proposedExecpolicyAmendment":["ls"])", true, "older servers list no decisions"},
       {R"("proposedExecpolicyAmendment":["ls"],"availableDecisions":["accept","cancel"])", false,
        "not on offer"},
       {R"("proposedExecpolicyAmendment":["ls"],"availableDecisions":[)"
        R"({"acceptWithExecpolicyAmendment":{"execpolicy_amendment":["rm"]}}])",
        false, "another rule is on offer"},
       {R"("proposedExecpolicyAmendment":[])", false, "a rule for everything"},
       {R"("proposedExecpolicyAmendment":["ls",7])", false, "no list of words"}}};
  for (const auto& [members, isOffered, reason] : cases) {
    connect();
    sink_.take();
    client_->receive(
        R"({"method":"item/commandExecution/requestApproval","id":1,"params":{"threadId":")" +
        mainThread + R"(","itemId":"i","command":"ls",)" + members + "}}");
    const auto notes = sink_.take();
    ASSERT_FALSE(notes.empty()) << reason;
    EXPECT_EQ(notes.back() == "p1 asks Bash: ls [Bash(ls, and whatever follows)]" ||
                  notes.back().ends_with("[Bash(ls, and whatever follows)]"),
              isOffered)
        << reason << ": " << notes.back();
  }
}

TEST_F(AppServerClientTest, TellsErrorsAndInterruptions) {
  play("bad");
  EXPECT_EQ(sink_.take().back(), "failed Fake error");
  play("two");
  const auto notes = sink_.take();
  EXPECT_TRUE(has(notes, "interrupted"));
  EXPECT_TRUE(std::none_of(notes.begin(), notes.end(),
                           [](const auto& note) { return note.starts_with("finished"); }));
  EXPECT_TRUE(sink_.open.empty());
}

TEST_F(AppServerClientTest, ShowsSubagentsInTheirSession) {
  play("sub", "requestApproval");
  EXPECT_TRUE(has(sink_.take(),
                  "p1 asks Bash: touch one.txt [Bash(touch one.txt, and whatever "
                  "follows)] by a subagent"));
  playOn();
  EXPECT_EQ(sink_.take().back(), "finished All done.");
}

TEST_F(AppServerClientTest, IsNotFinishedWhileASubagentWorks) {
  const auto status = [](const std::string& id, const char* type) {
    return R"({"method":"thread/status/changed","params":{"threadId":")" + id +
           R"(","status":{"type":")" + type + R"(","activeFlags":[]}}})";
  };
  client_->receive(status(mainThread, "active"));
  client_->receive(status(subagent, "idle"));
  client_->receive(status(subagent, "active"));
  client_->receive(status(mainThread, "idle"));
  sink_.take();
  client_->receive(R"({"method":"turn/completed","params":{"threadId":")" + mainThread +
                   R"(","turn":{"status":"completed","error":null}}})");
  EXPECT_TRUE(sink_.take().empty());
  client_->receive(status(subagent, "idle"));
  EXPECT_EQ(sink_.take(), (Notes{"finished "}));
}

TEST_F(AppServerClientTest, ReportsNamesAndPlans) {
  client_->receive(R"({"method":"thread/name/updated","params":{"threadId":")" + mainThread +
                   R"(","threadName":"Fix the build"}})");
  client_->receive(R"({"method":"turn/plan/updated","params":{"threadId":")" + mainThread +
                   R"(","turnId":"t","plan":[{"step":"a","status":"completed"},)"
                   R"({"step":"b","status":"inProgress"},{"step":"c","status":"pending"}]}})");
  EXPECT_EQ(sink_.take(), (Notes{"seen SCRIPT one in /home/ann/proj",
                                 "seen Fix the build in /home/ann/proj", "progress 1/3"}));
}

TEST_F(AppServerClientTest, EndsItsSessionsAndPromptsWithTheServerAndWithTheThread) {
  play("one", "requestApproval");
  sink_.take();
  client_.reset();
  EXPECT_EQ(sink_.take(), (Notes{"p1 withdrawn", "ended"}));
  connect();
  sink_.take();
  client_->receive(R"({"method":"thread/closed","params":{"threadId":")" + mainThread + "\"}}");
  EXPECT_EQ(sink_.take(), (Notes{"ended"}));
  EXPECT_FALSE(client_->owns(mainThread));
}

TEST_F(AppServerClientTest, HidesThreadsWithoutAPromptAndItsOwnHelpers) {
  preview_.clear();
  connect();
  client_->receive(R"({"method":"thread/status/changed","params":{"threadId":"title-thread",)"
                   R"("status":{"type":"active","activeFlags":[]}}})");
  EXPECT_EQ(sink_.take(), (Notes{"seen SCRIPT one in /home/ann/proj", "ended"}))
      << "the first connection's";
  EXPECT_TRUE(client_->owns("title-thread"));
}

}  // namespace
}  // namespace idlewyn::relay::codex
