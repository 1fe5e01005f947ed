// SPDX-License-Identifier: MIT
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/PushTokenRegistration.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/relay/Connection.hpp>
#include <tests/support/Sessions.hpp>

namespace application {

// A type of an application with the same idea, and a hash of its own.
struct Entry {
  static constexpr auto fields() { return std::tuple{idlewyn::platform::field("n", &Entry::n)}; }
  std::int64_t n = 0;
};

}  // namespace application

template <>
struct std::hash<application::Entry> {
  std::size_t operator()(const application::Entry& entry) const noexcept {
    return static_cast<std::size_t>(entry.n);
  }
};

namespace idlewyn {
namespace {

using platform::DecodingError;
using testing::makePrompt;
using testing::makeSession;

std::string golden(const std::string& name) {
  std::ifstream file(std::string(IDLEWYN_TEST_DATA "/golden/") + name + ".json");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.empty()) text.pop_back();  // the line end
  return text;
}

Date date(const char* text) {
  return JSONDecoder::relay().decode<std::vector<Date>>(std::string("[\"") + text + "\"]")[0];
}

template <class R>
void expectGolden(const std::string& name, const R& record,
                  const platform::PlainJSONEncoder& encoder = JSONEncoder::relay(),
                  const platform::PlainJSONDecoder& decoder = JSONDecoder::relay()) {
  const std::string expected = golden(name);
  ASSERT_FALSE(expected.empty()) << name;
  EXPECT_EQ(encoder.encode(record).text(), expected) << name;
  EXPECT_EQ(decoder.decode<R>(expected), record) << name;
}

TEST(Records, GoldenTextsAreWrittenAndReadBack) {
  AgentSession full = makeSession("s-1", SessionStatus::waitingForInput, 0, AgentProvider::codex);
  full.title = "Größe \"prüfen\"";
  full.workingDirectory = "/home/me/src/app";
  full.startedAt = date("2026-03-05T14:07:09.250Z");
  full.updatedAt = date("2026-03-05T14:07:09Z");
  full.summary = "Allow?";
  full.permission = PermissionPrompt("p-1", "Bash", "rm -rf build\n",
                                     date("2026-03-05T16:07:10.001+0200"), "Bash(rm -rf build)");
  full.activity = "Edit: a.cpp";
  full.turnStartedAt = date("1999-12-31T23:59:59.999Z");
  full.taskDone = std::numeric_limits<std::int64_t>::min();
  full.taskTotal = std::numeric_limits<std::int64_t>::max();
  expectGolden("session-full", full);

  AgentSession bare = makeSession("", SessionStatus::idle);
  bare.title = "t";
  bare.updatedAt = platform::distantPast;
  expectGolden("session-bare", bare);
  expectGolden("prompt-bare",
               PermissionPrompt("p", "Write", "", date("2026-11-24T00:00:00Z"), std::nullopt));

  AgentSession failed = makeSession("a", SessionStatus::failed);
  failed.title = "t";
  failed.startedAt = date("2026-11-24T08:00:00Z");
  failed.updatedAt = date("2026-11-24T08:00:01Z");
  expectGolden("snapshot", SessionSnapshot({failed}, date("2026-11-24T09:00:00Z")));

  using Push = PushTokenRegistration;
  expectGolden("push-with-key",
               Push("device 1", Push::Kind::pushToStart, Data{0x00, 0xAB, 0x0F}, "sandbox", "key"));
  expectGolden("push-bare", Push("", Push::Kind::activity, Data{}, "", std::nullopt));

  const platform::PlainJSONEncoder encoder;
  const platform::PlainJSONDecoder decoder;
  expectGolden("connection-pinned",
               Connection(AgentProvider::codex, URL::parse("https://relay.example:8443/r/"), "t",
                          "Me", platform::dateFromReferenceSeconds(794'491'629.25), "abcd"),
               encoder, decoder);
  expectGolden("connection-demo",
               Connection(AgentProvider::claude, std::nullopt, "mock", "Demo",
                          platform::dateFromReferenceSeconds(0.1), std::nullopt),
               encoder, decoder);
}

// Where reading fails, or what was missing there, and how the failure is described.
template <class R>
std::string faultOf(const std::string& text) {
  try {
    JSONDecoder::relay().decode<R>(text);
    return "none";
  } catch (const DecodingError& error) {
    return pathText(error.codingPath) + "/" + error.missingKey + ": " + error.description;
  }
}

// How each kind of value fails is tested with the coding.
TEST(Records, FailAtTheFirstBadFieldInDeclarationOrder) {
  const std::string dates =
      R"("startedAt":"2026-03-05T00:00:00Z","updatedAt":"2026-03-05T00:00:00Z")";
  const std::string good =
      R"({"provider":"codex","title":"","status":"gone",)" + dates + R"(,"id":"a")";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"id is declared before createdAt",
       faultOf<PermissionPrompt>(R"({"createdAt":5,"toolName":"","detail":""})"), "/id: "},
      {"a date alone",
       faultOf<PermissionPrompt>(R"({"id":"","toolName":"","detail":"","createdAt":"2026-03-05"})"),
       "createdAt/: Invalid ISO-8601 date: 2026-03-05"},
      {"the second session",
       faultOf<SessionSnapshot>(R"({"sessions":[)" + good +
                                R"(},{"id":"b","provider":"Claude","status":1}],"updatedAt":5})"),
       "sessions[1].provider/: "},
      {"a bad prompt fails its session",
       faultOf<SessionSnapshot>(R"({"sessions":[)" + good + R"(,"permission":{"id":"p"}}]})"),
       "sessions[0].permission/toolName: "},
      {"unknown kind",
       faultOf<PushTokenRegistration>(
           R"({"deviceID":"","kind":"alert","token":"","environment":""})"),
       "kind/: "},
  };
  for (const auto& [why, fault, expected] : rows)
    EXPECT_EQ(fault.substr(0, expected.size()), expected) << why << ": " << fault;
}

TEST(Records, NullAndMissingOptionalsReadAlikeAndUnknownStatusIsIdle) {
  const std::string head =
      R"({"id":"a","provider":"codex","title":"","startedAt":"2026-03-05T00:00:00Z",)"
      R"("updatedAt":"2026-03-05T00:00:00Z","status":)";
  const auto read = [&](const std::string& rest) {
    return JSONDecoder::relay().decode<AgentSession>(head + rest);
  };
  const AgentSession missing = read(R"("sleeping"})");
  EXPECT_EQ(missing.status, SessionStatus::idle);
  EXPECT_EQ(missing, read(R"("","workingDirectory":null,"summary":null,"permission":null,)"
                          R"("activity":null,"turnStartedAt":null,"taskDone":null,)"
                          R"("taskTotal":null,"later":{"x":[1e999]}})"));
  const Connection demo = platform::PlainJSONDecoder().decode<Connection>(std::string_view(
      R"({"provider":"codex","accessToken":"","accountName":"","connectedAt":1,"serverURL":null})"));
  EXPECT_TRUE(demo.isDemo());
}

TEST(Records, ThatDifferInOneFieldAreUnequal) {
  const auto expectOther = [](const auto& record, auto&& change) {
    auto other = record;
    change(other);
    EXPECT_NE(other, record);
    EXPECT_NE(std::hash<decltype(other)>{}(other), std::hash<decltype(other)>{}(record));
  };
  expectOther(makeSession("s"), [](auto& session) { session.activity = ""; });
  AgentSession counted = makeSession("s");
  counted.taskDone = 1;
  expectOther(counted, [](auto& session) { std::swap(session.taskDone, session.taskTotal); });
  EXPECT_EQ(std::hash<AgentSession>{}(makeSession("s", SessionStatus::idle, 0.0)),
            std::hash<AgentSession>{}(makeSession("s", SessionStatus::idle, -0.0)));
  expectOther(makePrompt("p"), [](auto& prompt) { prompt.createdAt += std::chrono::seconds(1); });
  const PushTokenRegistration push("d", PushTokenRegistration::Kind::activity, Data{}, "e", "key");
  expectOther(push, [](auto& registration) { registration.pushKey = std::nullopt; });
  const Connection connection(AgentProvider::codex, std::nullopt, "t", "a", Date{}, std::nullopt);
  expectOther(connection, [](auto& other) { other.connectedAt += std::chrono::seconds(1); });
}

TEST(Records, LeaveTheHashesOfOtherTypesToTheirOwners) {
  static_assert(platform::Record<application::Entry> && !platform::OwnRecord<application::Entry>);
  EXPECT_EQ(std::hash<application::Entry>{}({41}), 41U);
}

}  // namespace
}  // namespace idlewyn
