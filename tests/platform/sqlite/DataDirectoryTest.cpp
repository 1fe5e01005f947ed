// SPDX-License-Identifier: MIT
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/sqlite/DataDirectory.hpp>

namespace idlewyn::platform {
namespace {

void set(const char* variable, const char* value) {
  if (value == nullptr) {
    unsetenv(variable);
  } else {
    setenv(variable, value, 1);
  }
}

struct Row {
  const char *why, *own, *data, *home;
  std::string expected;
};

TEST(DataDirectory, IsTheFirstAbsolutePathThatTheEnvironmentNames) {
  const passwd* const user = getpwuid(geteuid());
  ASSERT_NE(user, nullptr);
  const std::string inHome = "/home/robin/.local/share/idlewyn";
  const std::string inDatabase = std::string(user->pw_dir) + "/.local/share/idlewyn";
  const Row table[]{
      {"our own variable comes first", "/own", "/data", "/home/robin", "/own"},
      {"then the data of the user", nullptr, "/data", "/home/robin", "/data/idlewyn"},
      {"then the home", nullptr, nullptr, "/home/robin", inHome},
      {"relative paths and empty ones are passed over", "own", "", "/home/robin", inHome},
      {"no home in the environment", nullptr, "data", nullptr, inDatabase},
      {"a relative home", "", nullptr, "home", inDatabase},
  };
  for (const Row& row : table) {
    set("IDLEWYN_DATA_DIR", row.own);
    set("XDG_DATA_HOME", row.data);
    set("HOME", row.home);
    EXPECT_EQ(dataDirectory(), row.expected) << row.why;
  }
}

}  // namespace
}  // namespace idlewyn::platform
