// SPDX-License-Identifier: MIT
#pragma once

#include <grp.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace idlewyn::relay {

/// A process of another user, at a Unix socket. Only root can make one.
class OtherUser {
 public:
  static bool canBePlayed() { return geteuid() == 0; }

  /// Listens there; `path` lies in a folder of its own, which is opened to everyone.
  static OtherUser listening(const std::filesystem::path& path) {
    std::filesystem::permissions(path.parent_path(), std::filesystem::perms::all);
    int ready[2] = {-1, -1};
    if (pipe(ready) != 0) return OtherUser(-1);
    OtherUser user(fork());
    if (user.process_ == 0) {
      const int listener = socketAs(path, bind);
      std::filesystem::permissions(path, std::filesystem::perms::all);
      if (listen(listener, 4) != 0 || write(ready[1], "r", 1) != 1) _exit(3);
      const int peer = accept(listener, nullptr, nullptr);
      char byte = 0;
      _exit(read(peer, &byte, 1) > 0 ? 1 : 0);
    }
    close(ready[1]);
    char byte = 0;
    // Nothing comes where it could not listen, which its status says.
    (void)!read(ready[0], &byte, 1);
    close(ready[0]);
    return user;
  }

  /// Connects, sends the text, and waits for an answer.
  static OtherUser sending(const std::filesystem::path& path, const std::string& text) {
    OtherUser user(fork());
    if (user.process_ == 0) {
      const int peer = socketAs(path, connect);
      // The other side may have closed already.
      (void)send(peer, text.data(), text.size(), MSG_NOSIGNAL);
      shutdown(peer, SHUT_WR);
      char byte = 0;
      _exit(read(peer, &byte, 1) > 0 ? 1 : 0);
    }
    return user;
  }

  OtherUser(OtherUser&& other) noexcept : process_(std::exchange(other.process_, 0)) {}
  OtherUser& operator=(OtherUser&&) = delete;
  ~OtherUser() {
    if (process_ > 0) kill(process_, SIGKILL), waitpid(process_, nullptr, 0);
  }

  bool hasEnded() {
    int status = 0;
    if (process_ <= 0 || waitpid(process_, &status, WNOHANG) != process_) return process_ <= 0;
    process_ = 0;
    status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return true;
  }
  /// After the end: 0 when nothing was received, 1 when something was.
  int status() const { return status_; }

 private:
  explicit OtherUser(pid_t process) : process_(process) {}

  /// A socket of nobody's. Ends the process when that can't be had.
  static int socketAs(const std::filesystem::path& path,
                      int (*use)(int, const sockaddr*, socklen_t)) {
    constexpr uid_t nobody = 65534;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof address.sun_path - 1);
    const int made = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0 ||
        use(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      _exit(2);
    return made;
  }

  pid_t process_;
  int status_ = -1;
};

}  // namespace idlewyn::relay
