// SPDX-License-Identifier: MIT
#include <IdlewynKit/platform/net/internal/MultiHandle.hpp>

#include <curl/curl.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <vector>

namespace idlewyn::platform {
namespace {

bool holdsBytes(int socket) {
  int unread = 0;
  int unsent = 0;
  return (ioctl(socket, FIONREAD, &unread) == 0 && unread > 0) ||
         (ioctl(socket, SIOCOUTQ, &unsent) == 0 && unsent > 0);
}

bool isInheritedUnixSocket(int descriptor) {
  sockaddr_storage name{};
  socklen_t size = sizeof name;
  return fcntl(descriptor, F_GETFD) == 0 &&
         getsockname(descriptor, reinterpret_cast<sockaddr*>(&name), &size) == 0 &&
         name.ss_family == AF_UNIX;
}

// The two lowest numbers that are free; -1 where there is none.
std::array<int, 2> freeDescriptors() {
  std::array<int, 2> found;
  for (int& descriptor : found)
    descriptor = open("/", O_PATH | O_CLOEXEC);
  for (const int descriptor : found) {
    if (descriptor >= 0) close(descriptor);
  }
  return found;
}

// Programs started later would inherit the two sockets that libcurl makes for wake-ups and does
// not tell us. A wake-up, which nobody waits for here, puts a byte between them: that tells them
// from what other threads have opened meanwhile.
void closeWakeupPairOnExec(CURLM* multi, std::array<int, 2> likely) {
  constexpr int searched = 64;
  std::vector<int> quiet;
  for (int i = likely[0]; i < likely[1] + searched; ++i) {
    if (isInheritedUnixSocket(i) && !holdsBytes(i)) quiet.push_back(i);
  }
  curl_multi_wakeup(multi);
  for (const int socket : quiet) {
    if (holdsBytes(socket)) fcntl(socket, F_SETFD, FD_CLOEXEC);
  }
}

}  // namespace

OwnedMulti makeMulti() {
  const std::array<int, 2> likely = freeDescriptors();
  OwnedMulti multi(curl_multi_init(), [](void* handle) { curl_multi_cleanup(handle); });
  if (multi == nullptr) return multi;
  closeWakeupPairOnExec(multi.get(), likely);
  keepConnections(multi.get(), fewestKeptConnections);
  return multi;
}

void keepConnections(void* multi, std::size_t count) {
  rlimit files{};
  getrlimit(RLIMIT_NOFILE, &files);
  const rlim_t most = std::clamp<rlim_t>(files.rlim_cur / 2, 1, mostKeptConnections);
  const rlim_t kept = std::min<rlim_t>(count, most);
  curl_multi_setopt(static_cast<CURLM*>(multi), CURLMOPT_MAXCONNECTS, static_cast<long>(kept));
}

}  // namespace idlewyn::platform
