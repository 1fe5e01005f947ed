// SPDX-License-Identifier: MIT
// The least that a program can do to tell something: it connects to the socket that its first
// argument names, and writes.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>

int main(int count, char** words) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (count < 2 || strlen(words[1]) >= sizeof address.sun_path) return 1;
  strcpy(address.sun_path, words[1]);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
  if (connect(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return 1;
  return write(descriptor, "event", 5) == 5 ? 0 : 1;
}
