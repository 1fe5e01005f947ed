// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>

#include <IdlewynKit/platform/bundle/Bundle.hpp>
#include <IdlewynKit/platform/bundle/internal/Places.hpp>

#include "tests/support/Files.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn::platform {
namespace {

namespace fs = std::filesystem;
using testing::overwrite;
using testing::TemporaryFolder;
using Texts = std::vector<std::string>;

// What the key "k" holds, in one word.
std::string seen(const Bundle& bundle) {
  if (const auto text = bundle.text("k")) return "text " + *text;
  if (const auto texts = bundle.texts("k")) return "texts " + std::to_string(texts->size());
  return bundle.contains("k") ? "another" : "nothing";
}

TEST(Bundle, ReadsWhatTheInformationFileHolds) {
  const std::string deep = std::string(1000, '[') + std::string(1000, ']');
  const std::tuple<const char*, std::string, const char*> rows[] = {
      {"empty text is a text", R"({"k":""})", "text "},
      {"structure within texts", R"({"{\"k\":\"}":"]},\\","k":"v"})", "text v"},
      {"the key within another value", R"({"j":{"k":"v"},"l":["k","v"]})", "nothing"},
      {"even a null", R"({"k":null,"k":"v"})", "nothing"},
      {"a number that no double holds", R"({"j":1e999,"k":-1E+999})", "another"},
      {"object", R"({"k":{"a":"}"},"j":"w"})", "another"},
      {"texts", R"({"k":["a","b]"],"j":["c"]})", "texts 2"},
      {"texts and something else", R"({"k":["a",null]})", "another"},
      {"deep values", R"({"j":)" + deep + R"(,"k":"v"})", "text v"},
      {"byte-order mark", "\xEF\xBB\xBF{\"k\":\"v\"}", "text v"},
      {"not UTF-8", "{\"k\":\"v\",\"j\":\"\xFF\"}", "nothing"},
      {"something behind it", R"({"k":"v"} x)", "nothing"},
      {"an empty file", "", "nothing"},
      {"just under the limit", R"({"k":"v"})" + std::string((16u << 20) - 9, ' '), "text v"},
      {"just over the limit", R"({"k":"v"})" + std::string((16u << 20) - 8, ' '), "nothing"},
  };
  const TemporaryFolder folder;
  for (const auto& [why, document, expected] : rows) {
    overwrite(folder.path() / "i.json", document);
    EXPECT_EQ(seen(Bundle(folder.path() / "i.json")), expected) << why;
  }
  overwrite(folder.path() / "i.json", R"({"k":["a\n","","a\n"]})");
  EXPECT_EQ(Bundle(folder.path() / "i.json").texts("k"), (Texts{"a\n", "", "a\n"}));
}

TEST(Bundle, FindsTheFilesBesideItsInformation) {
  const TemporaryFolder folder;
  overwrite(folder.path() / "b" / "Info.json", "{}");
  overwrite(folder.path() / "b" / "icons" / "a.svg", "<svg/>");
  overwrite(folder.path() / "outside", "");
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  const Bundle bundle("b/Info.json");
  fs::current_path(before);
  EXPECT_EQ(bundle.folder(), folder.path() / "b");
  EXPECT_EQ(bundle.resource("icons/a.svg"), folder.path() / "b" / "icons" / "a.svg");
  for (const char* name : {"icons", "missing", "", "../outside", "icons/../../outside"})
    EXPECT_EQ(bundle.resource(name), std::nullopt) << name;
  EXPECT_EQ(bundle.resource((folder.path() / "outside").string()), std::nullopt);
}

// What "from" in the main bundle says to a process of its own.
void expectMain(const std::string& expected, const char* variable, const fs::path& named) {
  const auto asked = [&] {
    if (variable != nullptr) setenv("IDLEWYN_INFO", variable, 1);
    if (!named.empty()) Bundle::setMainInformation(named);
    const std::string from = Bundle::main().text("from").value_or("nothing");
    Bundle::setMainInformation("/too/late");
    std::exit(from == expected && Bundle::main().text("from").value_or("nothing") == from ? 0 : 1);
  };
  EXPECT_EXIT(asked(), ::testing::ExitedWithCode(0), "") << expected;
}

TEST(Bundle, OfTheApplicationIsNamedByItOrByTheEnvironmentOrLiesBesideIt) {
  const TemporaryFolder folder;
  const fs::path code = folder.path() / "code.json", variable = folder.path() / "variable.json",
                 absent = folder.path() / "absent.json";
  overwrite(code, R"({"from":"code"})");
  overwrite(variable, R"({"from":"variable"})");
  expectMain("beside", nullptr, {});
  expectMain("beside", "", {});
  expectMain("variable", variable.c_str(), {});
  expectMain("code", variable.c_str(), code);
  expectMain("nothing", absent.c_str(), {});
  expectMain("nothing", variable.c_str(), absent);
}

TEST(Bundle, OfTheLibraryIsBesideItElseWhereItIsInstalled) {
  const TemporaryFolder prefix;
  const auto under = [&](const char* place) {
    return prefix.path() / fs::path(place).relative_path();
  };
  const fs::path library = under(IDLEWYN_LIBRARY_FOLDER) / "libidlewynkit-core.so.1";
  const fs::path installed =
      under(IDLEWYN_DATA_FOLDER) / "idlewynkit" / "IdlewynKitResources.bundle";
  EXPECT_EQ(internal::resourceFolder(library), installed);
  const fs::path beside = under(IDLEWYN_LIBRARY_FOLDER) / "IdlewynKitResources.bundle";
  overwrite(beside / "Info.json", "{}");
  EXPECT_EQ(internal::resourceFolder(library), beside);

  overwrite(prefix.path() / "mine" / "Info.json", R"({"name":"mine"})");
  setenv("IDLEWYN_RESOURCES", (prefix.path() / "mine").c_str(), 1);
  EXPECT_EXIT(std::exit(Bundle::library().text("name") == "mine" ? 0 : 1),
              ::testing::ExitedWithCode(0), "");
  unsetenv("IDLEWYN_RESOURCES");
}

}  // namespace
}  // namespace idlewyn::platform
