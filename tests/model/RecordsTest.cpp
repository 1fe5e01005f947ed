// SPDX-License-Identifier: MIT
#include <fstream>
#include <iterator>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/model/JSONCoding.hpp>
#include <IdlewynKit/model/SessionSnapshot.hpp>
#include <IdlewynKit/push/PushTokenRegistration.hpp>
#include <IdlewynKit/relay/Connection.hpp>
#include <tests/support/Sessions.hpp>

namespace idlewyn {
namespace {

using platform::DecodingError;
using testing::makePrompt;
using testing::makeSession;
using Kind = DecodingError::Kind;

std::string golden(const std::string& name) {
  std::ifstream file(std::string(IDLEWYN_TEST_DATA "/golden/") + name + ".json");
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (!text.empty()) text.pop_back();  // the line end
  return text;
}

Date date(const char* text) {
  return JSONDecoder::relay().decode<std::vector<Date>>(std::string("[\"") + text + "\"]")[0];
}

template <class R, class Encoder, class Decoder>
void expectGolden(const std::string& name, const R& record, const Encoder& encoder,
                  const Decoder& decoder) {
  const std::string expected = golden(name);
  ASSERT_FALSE(expected.empty()) << name;
  EXPECT_EQ(encoder.encode(record).text(), expected) << name;
  EXPECT_EQ(decoder.template decode<R>(expected), record) << name;
}

TEST(Records, GoldenTextsAreWrittenAndReadBack) {
  const auto relay = [](const std::string& name, const auto& record) {
    expectGolden(name, record, JSONEncoder::relay(), JSONDecoder::relay());
  };
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
  relay("session-full", full);

  AgentSession bare = makeSession("", SessionStatus::idle);
  bare.title = "t";
  bare.updatedAt = platform::distantPast;
  relay("session-bare", bare);
  relay("prompt-bare",
        PermissionPrompt("p", "Write", "", date("2026-11-24T00:00:00Z"), std::nullopt));

  AgentSession failed = makeSession("a", SessionStatus::failed);
  failed.title = "t";
  failed.startedAt = date("2026-11-24T08:00:00Z");
  failed.updatedAt = date("2026-11-24T08:00:01Z");
  relay("snapshot", SessionSnapshot({failed}, date("2026-11-24T09:00:00Z")));

  using Push = PushTokenRegistration;
  relay("push-with-key",
        Push("device 1", Push::Kind::pushToStart, Data{0x00, 0xAB, 0x0F}, "sandbox", "key"));
  relay("push-bare", Push("", Push::Kind::activity, Data{}, "", std::nullopt));

  const platform::JSONEncoder encoder;
  const platform::JSONDecoder decoder;
  expectGolden("connection-pinned",
               Connection(AgentProvider::codex, URL::parse("https://relay.example:8443/r/"), "t",
                          "Me", platform::dateFromReferenceSeconds(794'491'629.25), "abcd"),
               encoder, decoder);
  expectGolden("connection-demo",
               Connection(AgentProvider::claude, std::nullopt, "mock", "Demo",
                          platform::dateFromReferenceSeconds(0.1), std::nullopt),
               encoder, decoder);
}

struct Fault {
  const char *reason, *text;
  Kind kind;
  const char* path;              // of the container for a key that was not found
  const char* description = "";  // what the description must hold
};

template <class R>
void expectFaults(const std::vector<Fault>& faults) {
  for (const Fault& fault : faults) {
    try {
      JSONDecoder::relay().decode<R>(std::string_view(fault.text));
      ADD_FAILURE() << fault.reason << " was accepted";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind, fault.kind) << fault.reason;
      EXPECT_EQ(pathText(error.codingPath), fault.path) << fault.reason;
      EXPECT_NE(error.description.find(fault.description), std::string::npos)
          << fault.reason << ": " << error.description;
    }
  }
}

TEST(Records, FailAtTheFirstBadFieldInDeclarationOrder) {
  expectFaults<PermissionPrompt>({
      {"id is declared before createdAt", R"({"createdAt":5,"toolName":"","detail":""})",
       Kind::keyNotFound, "", "id"},
      {"null where a text is required", R"({"id":null})", Kind::valueNotFound, "id"},
      {"a date alone", R"({"id":"","toolName":"","detail":"","createdAt":"2026-03-05"})",
       Kind::dataCorrupted, "createdAt", "Invalid ISO-8601 date: 2026-03-05"},
      {"an optional of the wrong type",
       R"({"id":"","toolName":"","detail":"","createdAt":"2026-03-05T00:00:00Z","alwaysRule":[]})",
       Kind::typeMismatch, "alwaysRule"},
      {"no object", "[]", Kind::typeMismatch, ""},
  });
  expectFaults<SessionSnapshot>({
      {"the list comes first", R"({"updatedAt":5,"sessions":{}})", Kind::typeMismatch, "sessions"},
      {"the second session",
       R"({"sessions":[{"id":"a","provider":"claude","title":"","status":"gone",
           "startedAt":"2026-03-05T00:00:00Z","updatedAt":"2026-03-05T00:00:00Z"},
           {"id":"b","provider":"Claude","status":1}],"updatedAt":5})",
       Kind::dataCorrupted, "sessions[1].provider", "Claude"},
      {"a bad prompt fails its session",
       R"({"sessions":[{"id":"a","provider":"codex","title":"","status":"idle",
           "startedAt":"2026-03-05T00:00:00Z","updatedAt":"2026-03-05T00:00:00Z",
           "permission":{"id":"p"}}],"updatedAt":"2026-03-05T00:00:00Z"})",
       Kind::keyNotFound, "sessions[0].permission", "toolName"},
  });
  expectFaults<PushTokenRegistration>({
      {"unknown kind", R"({"deviceID":"","kind":"alert","token":"","environment":""})",
       Kind::dataCorrupted, "kind", "alert"},
  });
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
  const Connection demo = platform::JSONDecoder().decode<Connection>(std::string_view(
      R"({"provider":"codex","accessToken":"","accountName":"","connectedAt":1,"serverURL":null})"));
  EXPECT_TRUE(demo.isDemo());
}

// Each field and each flag takes part, in this order.
TEST(Records, HashingFeedsEveryFieldInOrder) {
  using Fed = std::variant<bool, std::int64_t, double, std::string>;
  std::vector<Fed> fed;
  const auto record = [&](const auto& value) {
    if constexpr (std::is_convertible_v<decltype(value), std::string_view>) {
      fed.emplace_back(std::string(value));
    } else {
      fed.emplace_back(value);
    }
  };
  const Connection connection(AgentProvider::codex, URL::parse("http://h"), "token", "account",
                              platform::dateFromReferenceSeconds(3), std::nullopt);
  platform::feedFields(record, connection);
  EXPECT_EQ(fed, (std::vector<Fed>{"codex", true, "http://h", "token", "account", 3.0, false}));

  fed.clear();
  AgentSession session = makeSession("s", SessionStatus::working, 2);
  session.permission = makePrompt("p");
  session.taskTotal = 4;
  platform::feedFields(record, session);
  EXPECT_EQ(fed, (std::vector<Fed>{"s", "claude", "title", false, "working", 0.0, 2.0, false, true,
                                   "p", "Bash", "make test", 0.0, false, false, false, false, true,
                                   std::int64_t{4}}));
  EXPECT_EQ(std::hash<AgentSession>{}(makeSession("s", SessionStatus::idle, 0.0)),
            std::hash<AgentSession>{}(makeSession("s", SessionStatus::idle, -0.0)));
}

TEST(Records, ThatDifferInOneFieldAreUnequal) {
  const auto expectOther = [](const auto& record, auto&& change) {
    auto other = record;
    change(other);
    EXPECT_NE(other, record);
    EXPECT_NE(std::hash<decltype(other)>{}(other), std::hash<decltype(other)>{}(record));
  };
  expectOther(makeSession("s"), [](auto& session) { session.activity = ""; });
  expectOther(makePrompt("p"), [](auto& prompt) { prompt.createdAt += std::chrono::seconds(1); });
  const PushTokenRegistration push("d", PushTokenRegistration::Kind::activity, Data{}, "e", "key");
  expectOther(push, [](auto& registration) { registration.pushKey = std::nullopt; });
  const Connection connection(AgentProvider::codex, std::nullopt, "t", "a", Date{}, std::nullopt);
  expectOther(connection, [](auto& other) { other.connectedAt += std::chrono::seconds(1); });
}

}  // namespace
}  // namespace idlewyn
