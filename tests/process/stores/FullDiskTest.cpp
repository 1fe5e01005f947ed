// SPDX-License-Identifier: MIT
// Writes for which there is no space.
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>

#include "ChildProcess.hpp"
#include "Stores.hpp"

namespace idlewyn::testing {
namespace {

namespace fs = std::filesystem;

class FullDisk : public StoreTest {
 protected:
  /// Runs in a child, whose status it gives: 0, or the number of the expectation that failed.
  int fillUp(const std::function<void()>& takeSpace, const std::function<void()>& giveSpace) {
    if (put("old") != "ok") return 1;
    takeSpace();
    if (put(std::string(200'000, 'n')) != perStore("-34", "false")) return 2;
    if (get() != "old") return 3;
    ChildProcess reader(
        [&] { return get() == "old" || get() == perStore("-34", "absent") ? 0 : 1; });
    if (reader.status() != 0) return 4;
    giveSpace();
    if (get() != "old") return 5;
    if (put("new") != "ok" || get() != "new") return 6;
    return filesSetAside().empty() ? 0 : 7;
  }
};
INSTANTIATE_TEST_SUITE_P(Stores, FullDisk, ::testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Keychain" : "Defaults"; });

// A file system of 512 KiB, which only this process and its children see.
bool mountSmall(const fs::path& place) {
  const std::string user = std::to_string(geteuid()), group = std::to_string(getegid());
  if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) return false;
  overwrite("/proc/self/setgroups", "deny");
  overwrite("/proc/self/uid_map", user + " " + user + " 1");
  overwrite("/proc/self/gid_map", group + " " + group + " 1");
  return mount("none", place.c_str(), "tmpfs", 0, "size=512k,mode=700") == 0;
}

TEST_P(FullDisk, AWriteWithoutSpaceFailsAndTheOldValueStays) {
  ChildProcess limited([&] {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small{100'000, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
    return fillUp([&] { setrlimit(RLIMIT_FSIZE, &small); },
                  [&] { setrlimit(RLIMIT_FSIZE, &none); });
  });
  EXPECT_EQ(limited.status(), 0) << "with a limit of a file's size";

  constexpr int notPermitted = 99;
  const fs::path filler = folder() / "filler";
  fs::remove_all(file().parent_path());
  ChildProcess mounted([&] {
    if (!mountSmall(folder())) return notPermitted;
    return fillUp([&] { overwrite(filler, std::string(1'000'000, 'f')); },
                  [&] { fs::remove(filler); });
  });
  // Where mounting is forbidden, the limit above is the test.
  const int status = mounted.status();
  EXPECT_TRUE(status == 0 || status == notPermitted) << "on a small file system: " << status;
}

}  // namespace
}  // namespace idlewyn::testing
