// SPDX-License-Identifier: MIT
// The program that agents start for each event. It hands the event to the relay of this user and,
// for a question, prints the answer. It must never be in an agent's way: whatever goes wrong, it
// prints nothing and its exit status is 0, and then the agent asks at its terminal.
//
//     idlewyn-relay-hook AGENT EVENT [--socket PATH]
//
// Agents start it thousands of times an hour, so it needs the C library and nothing else.
#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

constexpr size_t largestPayload = 16UL << 20U;
constexpr long takeTime = 200;       // milliseconds until the relay must have taken an event
constexpr long silenceTime = 3500;   // three signs of life missed
constexpr long restartTime = 10000;  // as long as a question waits for the relay to come back
constexpr long restartPause = 100;

struct Text {
  char* data = nullptr;
  size_t size = 0;
};

struct Call {
  const char* agent;
  const char* event;
  const char* socketPath;
  char nonce[33];
  pid_t parent;
  unsigned long long parentStart;
  Text payload;
  /// When the hook leaves by itself; 0 without a bound.
  long bound;
};

long now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return time.tv_sec * 1000 + time.tv_nsec / 1000000;
}

long earlier(long a, long b) { return a < b ? a : b; }

/// When a process began, in the kernel's ticks; 0 when that can't be told. With its number it
/// names a process for good.
unsigned long long startOf(pid_t process) {
  char text[1024];
  snprintf(text, sizeof text, "/proc/%d/stat", static_cast<int>(process));
  const int descriptor = open(text, O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return 0;
  const ssize_t size = read(descriptor, text, sizeof text - 1);
  close(descriptor);
  text[size > 0 ? size : 0] = 0;
  // The second field is a name that may contain anything; the start is the twentieth after it.
  const char* at = strrchr(text, ')');
  for (int field = 0; at && field < 20; ++field)
    at = strchr(at + 1, ' ');
  return at ? strtoull(at + 1, nullptr, 10) : 0;
}

/// Takes the input to its end, whatever its length: an agent that can't write it all would see an
/// error. False when it can't be read, or when it is too long to be sent.
bool readAll(int descriptor, Text& text) {
  size_t capacity = 0;
  bool isWhole = true;
  for (;;) {
    if (isWhole && text.size == capacity) {
      const size_t larger = capacity == 0 ? 65536 : 2 * capacity;
      char* data =
          capacity < largestPayload ? static_cast<char*>(realloc(text.data, larger)) : nullptr;
      isWhole = data != nullptr;
      if (isWhole) {
        text.data = data;
        capacity = larger;
      }
    }
    char rest[65536];
    const ssize_t size = isWhole ? read(descriptor, text.data + text.size, capacity - text.size)
                                 : read(descriptor, rest, sizeof rest);
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return false;
    if (size == 0) return isWhole;
    if (isWhole) text.size += static_cast<size_t>(size);
  }
}

/// A connected socket of a relay of this user, or -1.
int connected(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (strlen(path) >= sizeof address.sun_path) return -1;
  strcpy(address.sun_path, path);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (descriptor < 0) return -1;
  ucred peer{};
  socklen_t size = sizeof peer;
  // A command that an agent is about to run is for nobody else's eyes.
  const bool isMine =
      connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
      getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.uid == geteuid();
  if (isMine) return descriptor;
  close(descriptor);
  return -1;
}

bool sendAll(int descriptor, const char* data, size_t size, long deadline) {
  while (size > 0) {
    const ssize_t sent = send(descriptor, data, size, MSG_NOSIGNAL);
    if (sent > 0) {
      data += sent;
      size -= static_cast<size_t>(sent);
      continue;
    }
    if (errno != EAGAIN && errno != EINTR) return false;
    const long left = deadline - now();
    pollfd waiting{descriptor, POLLOUT, 0};
    if (left <= 0 || poll(&waiting, 1, static_cast<int>(left)) < 0) return false;
  }
  return true;
}

/// A socket to which the whole event was sent, or -1.
int told(const Call& call, long deadline) {
  const int descriptor = connected(call.socketPath);
  if (descriptor < 0) return -1;
  char head[512];
  const int size = snprintf(head, sizeof head, "%s %s %d %s %llu\n", call.agent, call.event,
                            static_cast<int>(call.parent), call.nonce, call.parentStart);
  const bool isSent = size > 0 && static_cast<size_t>(size) < sizeof head &&
                      sendAll(descriptor, head, static_cast<size_t>(size), deadline) &&
                      sendAll(descriptor, call.payload.data, call.payload.size, deadline) &&
                      shutdown(descriptor, SHUT_WR) == 0;
  if (isSent) return descriptor;
  close(descriptor);
  return -1;
}

/// The agent has gone: its process, or its end of our output.
bool isAgentGone(const Call& call) {
  pollfd output{STDOUT_FILENO, 0, 0};
  const bool isClosed =
      poll(&output, 1, 0) > 0 && (output.revents & (POLLERR | POLLHUP | POLLNVAL)) != 0;
  return isClosed || getppid() != call.parent;
}

enum class Ending { answered, lost, leave };

/// Takes the lines that have arrived. True when the answer was among them; it is printed then.
bool takeLines(Text& text, Call& call, bool& isHeld) {
  char* line = text.data;
  while (char* end = static_cast<char*>(
             memchr(line, '\n', static_cast<size_t>(text.data + text.size - line)))) {
    *end = 0;
    if (strncmp(line, "wait ", 5) == 0) {
      const long seconds = atol(line + 5);
      // Counted from the first relay that held the question.
      if (seconds > 0 && call.bound == 0) call.bound = now() + seconds * 1000;
      isHeld = true;
    } else if (strncmp(line, "answer ", 7) == 0) {
      if (line[7] != 0) puts(line + 7);
      return true;
    }
    line = end + 1;
  }
  text.size = static_cast<size_t>(text.data + text.size - line);
  memmove(text.data, line, text.size);
  return false;
}

/// `isHeld` becomes true when the relay says that it holds the question, which it must have said
/// by `silent`.
Ending await(int descriptor, Call& call, bool& isHeld, long silent) {
  static char buffer[1U << 20U];  // an answer repeats the rules that it adds
  Text text{buffer, 0};
  for (;;) {
    const long deadline = call.bound > 0 ? earlier(silent, call.bound) : silent;
    const long left = deadline - now();
    if (left <= 0 || isAgentGone(call)) return Ending::leave;
    // Wakes each half second for the agent's end, which no descriptor tells in every case.
    pollfd waiting[2] = {{descriptor, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    if (poll(waiting, 2, static_cast<int>(earlier(left, 500))) < 0 && errno != EINTR)
      return Ending::leave;
    if ((waiting[0].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
    const ssize_t size = recv(descriptor, text.data + text.size, sizeof buffer - text.size, 0);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) continue;
    if (size <= 0) return Ending::lost;
    text.size += static_cast<size_t>(size);
    if (takeLines(text, call, isHeld)) return Ending::answered;
    if (text.size == sizeof buffer) return Ending::leave;
    if (isHeld) silent = now() + silenceTime;
  }
}

/// Asks, and asks again where the relay is restarted meanwhile. A relay that is being killed still
/// takes connections for a moment and then drops them, so that being dropped ends nothing as long
/// as the restart is waited for.
void ask(Call& call) {
  long restarted = 0;
  // Sending and being heard share the time: the agent waits no longer for a relay that is stopped.
  long taken = now() + takeTime;
  int descriptor = told(call, taken);
  while (descriptor >= 0) {
    bool isHeld = false;
    const Ending ending = await(descriptor, call, isHeld, taken);
    close(descriptor);
    if (isHeld) restarted = now() + restartTime;
    if (ending != Ending::lost) return;
    do {
      if (now() >= restarted || isAgentGone(call)) return;
      poll(nullptr, 0, restartPause);
      taken = now() + takeTime;
      descriptor = told(call, taken);
    } while (descriptor < 0);
  }
}

void makeNonce(char (&nonce)[33]) {
  unsigned char bytes[16] = {};
  if (getrandom(bytes, sizeof bytes, 0) < 0) memset(bytes, 0, sizeof bytes);
  for (size_t at = 0; at < sizeof bytes; ++at)
    snprintf(nonce + 2 * at, 3, "%02x", bytes[at]);
}

/// The socket's one place. The environment may be that of another terminal or another time, so
/// the password database says where this user's home is.
const char* socketPath(int count, char** words) {
  static char path[sizeof(sockaddr_un::sun_path)];
  if (count == 5 && strcmp(words[3], "--socket") == 0) return words[4];
  const passwd* user = getpwuid(geteuid());
  if (count != 3 || !user) return nullptr;
  const int size =
      snprintf(path, sizeof path, "%s/.local/state/idlewyn-relay/hook.sock", user->pw_dir);
  return size > 0 && static_cast<size_t>(size) < sizeof path ? path : nullptr;
}

/// A word of the head line.
bool isWord(const char* text) {
  return *text != 0 && strlen(text) < 64 && strpbrk(text, " \t\r\n") == nullptr;
}

}  // namespace

int main(int count, char** words) {
  signal(SIGPIPE, SIG_IGN);
  const char* path = socketPath(count, words);
  if (!path || !isWord(words[1]) || !isWord(words[2])) return 0;
  Call call{words[1], words[2], path, {}, getppid(), 0, {}, 0};
  call.parentStart = startOf(call.parent);
  makeNonce(call.nonce);
  if (readAll(STDIN_FILENO, call.payload)) {
    if (strcmp(call.event, "PermissionRequest") == 0)
      ask(call);
    else
      told(call, now() + takeTime);
  }
  free(call.payload.data);
  return 0;
}
