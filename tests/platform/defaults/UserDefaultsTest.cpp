// SPDX-License-Identifier: MIT
#include <cmath>
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

#include <tests/support/TemporaryFolder.hpp>

#include <IdlewynKit/platform/defaults/UserDefaults.hpp>

namespace idlewyn::platform {
namespace {

using Value = UserDefaults::Value;
using std::string_literals::operator""s;

class UserDefaultsTest : public ::testing::Test {
 protected:
  UserDefaultsTest() { setenv("IDLEWYN_DATA_DIR", folder().c_str(), 1); }

  const std::filesystem::path& folder() const { return folder_.path(); }

 private:
  testing::TemporaryFolder folder_;
};

bool isSame(const Value& a, const Value& b) {
  const double *left = std::get_if<double>(&a), *right = std::get_if<double>(&b);
  if (left == nullptr || right == nullptr) return a == b;
  return std::isnan(*left) ? std::isnan(*right)
                           : *left == *right && std::signbit(*left) == std::signbit(*right);
}

TEST_F(UserDefaultsTest, ValuesComeBackWithTheirTypes) {
  const std::pair<const char*, Value> table[]{
      {"bytes that are no text", Data{0, 127, 128, 255}},
      {"no bytes", Data()},
      {"empty text", ""s},
      {"text that looks like a number", "1"s},
      {"text with a NUL", "a\0b"s},
      {"the largest", std::numeric_limits<std::int64_t>::max()},
      {"a real that is whole", 1.0},
      {"minus zero", -0.0},
      {"infinity", -std::numeric_limits<double>::infinity()},
      {"not a number", std::numeric_limits<double>::quiet_NaN()},
      {"false", false},
  };
  UserDefaults defaults = UserDefaults::suite("values").value();
  // In one place, one type after the other.
  for (const auto& [why, value] : table) {
    EXPECT_TRUE(defaults.set("same", value)) << why;
    const std::optional<Value> found = defaults.value("same");
    ASSERT_TRUE(found) << why;
    EXPECT_EQ(found->index(), value.index()) << why;
    EXPECT_TRUE(isSame(*found, value)) << why;
    EXPECT_EQ(defaults.data("same").has_value(), std::holds_alternative<Data>(value)) << why;
  }
}

TEST_F(UserDefaultsTest, KeysAreToldApartExactlyAndWhatIsNotUTF8IsRefused) {
  UserDefaults defaults = UserDefaults::suite("keys").value();
  EXPECT_TRUE(defaults.remove("a")) << "there is not even a file";
  const std::string keys[]{"a", "A", "a\0"s, "", "ä"};
  for (const std::string& key : keys) {
    ASSERT_TRUE(defaults.set(key, key));
    EXPECT_FALSE(defaults.set(key, "\xff"s));
  }
  EXPECT_FALSE(defaults.set("\xff", "text"s));
  EXPECT_EQ(defaults.value("\xff"), std::nullopt);
  EXPECT_TRUE(defaults.remove("a") && defaults.remove("a"));
  for (const std::string& key : keys)
    EXPECT_EQ(defaults.value(key), key == "a" ? std::nullopt : std::optional<Value>(key)) << key;
}

TEST_F(UserDefaultsTest, SuitesAreApartAndTheStandardOneIsTheExecutables) {
  UserDefaults one = UserDefaults::suite("one").value(), copy = one;
  UserDefaults other = UserDefaults::suite("other").value();
  ASSERT_TRUE(one.set("key", true));
  EXPECT_EQ(copy.value("key"), Value(true));
  EXPECT_EQ(UserDefaults::suite("one").value().value("key"), Value(true));
  EXPECT_EQ(other.value("key"), std::nullopt);
  UserDefaults standard = UserDefaults::standard();
  EXPECT_EQ(standard.value("key"), std::nullopt);
  EXPECT_TRUE(standard.set("key", "standard"s));
  const std::string name = std::filesystem::read_symlink("/proc/self/exe").filename();
  EXPECT_EQ(UserDefaults::suite(name).value().value("key"), Value("standard"s));
}

TEST_F(UserDefaultsTest, ASuiteIsNamedByWhatCanBeAFileOfItsOwn) {
  const std::tuple<const char*, std::string, bool> table[]{
      {"blanks and other letters", "Große Gruppe #1?", true},
      {"as long as can be", std::string(200, 'n'), true},
      {"longer", std::string(201, 'n'), false},
      {"empty", "", false},
      {"another folder", "one/two", false},
      {"hidden", ".one", false},
      {"a NUL", "one\0"s, false},
      {"a delete character", "one\x7f", false},
      {"not UTF-8", "\xc3", false},
      {"a directory where its lock would be", "locked", false},
  };
  std::filesystem::create_directories(folder() / "defaults" / "locked.sqlite3.lock");
  for (const auto& [why, name, isName] : table) {
    std::optional<UserDefaults> suite = UserDefaults::suite(name);
    ASSERT_EQ(suite.has_value(), isName) << why;
    if (!suite) continue;
    EXPECT_TRUE(suite->set("key", true)) << why;
    EXPECT_TRUE(std::filesystem::exists(folder() / "defaults" / (name + ".sqlite3"))) << why;
  }
}

TEST_F(UserDefaultsTest, WithoutAPlaceOnlyTheStandardDefaultsAreThereAndLastAsLongAsTheProcess) {
  const std::filesystem::path toNowhere = folder() / "link";
  std::filesystem::create_symlink("nowhere", toNowhere);
  std::filesystem::create_directory(folder() / "home");
  std::filesystem::create_symlink("nowhere", folder() / "home" / "defaults");
  for (const std::filesystem::path& place : {std::filesystem::path("/proc/self/nowhere"), toNowhere,
                                             toNowhere / "below", folder() / "home"}) {
    setenv("IDLEWYN_DATA_DIR", place.c_str(), 1);
    EXPECT_FALSE(UserDefaults::suite("one")) << place;
    UserDefaults standard = UserDefaults::standard();
    EXPECT_EQ(standard.value("key"), std::nullopt) << place;
    EXPECT_TRUE(standard.set("key", true)) << place;
    EXPECT_TRUE(standard.set("key", "later"s)) << place;
    EXPECT_FALSE(standard.set("key", "\xff"s)) << place;
    EXPECT_EQ(UserDefaults::standard().value("key"), Value("later"s)) << place;
    EXPECT_TRUE(standard.remove("key") && standard.remove("key")) << place;
  }
}

}  // namespace
}  // namespace idlewyn::platform
