// SPDX-License-Identifier: MIT
// Put behind README.md's second block: a second pairing must not forget the first.
int main(int, char** argv) {
  const SessionSnapshot sessions(DemoSessions::sessions(AgentProvider::claude, DateClock::now()),
                                 DateClock::now());
  const Connection claude = Connection::demo(AgentProvider::claude);
  const Connection codex = Connection::demo(AgentProvider::codex);
  for (const Connection& paired : {claude, codex, claude})
    keep(paired, sessions);
  draw(sessions.sessions.front(), true, argv[1]);
  const std::vector<Connection> expected{codex, claude};
  const bool areKept = ConnectionStore::shared().load() == expected;
  // Dates are stored to the millisecond.
  const SessionSnapshot stored = SnapshotStore::shared().load();
  return areKept && stored.sessions.size() == sessions.sessions.size() ? 0 : 1;
}
