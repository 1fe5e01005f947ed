// SPDX-License-Identifier: MIT
#include <clocale>
#include <fstream>

#include <libintl.h>

#include <IdlewynKit/UI.hpp>
#include <IdlewynKit/ui/internal/CountFormat.hpp>

#include "tests/platform/view/ViewSupport.hpp"
#include "tests/support/TemporaryFolder.hpp"

namespace idlewyn {
namespace {

const std::string sentence = "%lld of %lld tasks done";

/// In its binary form: a header, one original, one translation, no hash table.
std::string catalogue(const std::string& translation) {
  const auto from = static_cast<std::uint32_t>(sentence.size());
  const auto to = static_cast<std::uint32_t>(translation.size());
  const std::uint32_t words[]{0x950412DE, 0, 1, 28, 36, 0, 44, from, 44, to, 44 + from + 1};
  return std::string(reinterpret_cast<const char*>(words), sizeof words) + sentence + '\0' +
         translation + '\0';
}

TEST(CountFormat, UsesATranslationOnlyWhereItIsSafe) {
  const std::string untranslated = "3 of 4 tasks done";
  const std::tuple<std::string, std::string, const char*> rows[] = {
      {"%lld von %lld Aufgaben erledigt", "3 von 4 Aufgaben erledigt", "in order"},
      {"Von %2$lld sind %1$lld erledigt", "Von 4 sind 3 erledigt", "numbered"},
      {"%1$lld/%2$lld (%1$lld)", "3/4 (3)", "numbered may repeat"},
      {"%lld %% %lld", "3 % 4", "a percent sign"},
      {"%lld erledigt", "3 erledigt", "a count left out"},
      {"%d/%i", "3/4", "another width"},
      {"erledigt", untranslated, "none"},
      {"%lld %lld %lld", untranslated, "one too many"},
      {"%s von %lld", untranslated, "text where a number is"},
      {"%n%lld%lld", untranslated, "writes"},
      {"%lld %lll", untranslated, "too wide"},
      {"%0$lld %1$lld %2$lld", untranslated, "a zeroth"},
      {"%1$lld %lld %2$lld", untranslated, "both kinds"},
      {"%99999999lld %lld", untranslated, "a field as wide as memory"},
      {"%1$", untranslated, "ends after the number"},
      {std::string("%lld %lld\0 %s", 13), "3 4", "what stands behind the end is not read"},
  };
  const idlewyn::testing::TemporaryFolder folder;
  const auto place = folder.path() / "de" / "LC_MESSAGES";
  std::filesystem::create_directories(place);
  // Later versions of the C library translate nothing where the locale is C.UTF-8. The same locale
  // by another name does.
  std::filesystem::create_symlink("/usr/lib/locale/C.utf8", folder.path() / "de_DE.UTF-8");
  setenv("LOCPATH", folder.path().c_str(), 1);
  ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  setenv("LANGUAGE", "de", 1);
  const std::string before = textdomain(nullptr);
  std::string domain = "domain";
  for (const auto& [translation, text, why] : rows) {
    domain += 'x';  // gettext keeps what it has read: each catalogue is a domain of its own
    std::ofstream(place / (domain + ".mo"), std::ios::binary) << catalogue(translation);
    bindtextdomain(domain.c_str(), folder.path().c_str());
    textdomain(domain.c_str());
    EXPECT_EQ(internal::countText(sentence.c_str(), 3, 4), text) << why;
    EXPECT_EQ(internal::countText("%lld/%lld", 3, 4), "3/4") << "not in the catalogue";
    const Frame frame = platform::still(TaskProgressView(3, 4, Color::black()));
    EXPECT_EQ(platform::spoken(frame), "group " + text) << why;
  }
  textdomain(before.c_str());
  unsetenv("LANGUAGE");
  unsetenv("LOCPATH");
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace idlewyn
