// SPDX-License-Identifier: MIT
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <libintl.h>
#include <unistd.h>

#include <IdlewynKit/ui/internal/CountFormat.hpp>

#include "Shown.hpp"

namespace idlewyn {
namespace {

constexpr const char* sentence = "%lld of %lld tasks done";

// The application's catalogues, in a folder and a language of the test.
class Catalogues {
 public:
  Catalogues()
      : folder_(std::filesystem::temp_directory_path() /
                ("catalogues-" + std::to_string(getpid()))) {
    std::setlocale(LC_ALL, "C.UTF-8");
    setenv("LANGUAGE", "de", 1);
    domain_ = textdomain(nullptr);
  }
  ~Catalogues() {
    textdomain(domain_.c_str());
    unsetenv("LANGUAGE");
    std::setlocale(LC_ALL, "C");
    std::filesystem::remove_all(folder_);
  }

  // gettext keeps what it has read: each catalogue is a domain of its own.
  void use(const std::string& translation) {
    const std::string domain = "domain" + std::to_string(count_++);
    const auto place = folder_ / "de" / "LC_MESSAGES";
    std::filesystem::create_directories(place);
    std::ofstream(place / (domain + ".mo"), std::ios::binary) << catalogue(translation);
    bindtextdomain(domain.c_str(), folder_.c_str());
    textdomain(domain.c_str());
  }

 private:
  // The binary form of one message: header, one original, one translation, no hash table.
  static std::string catalogue(const std::string& translation) {
    const std::string original = sentence;
    const auto from = static_cast<std::uint32_t>(original.size());
    const auto to = static_cast<std::uint32_t>(translation.size());
    const std::uint32_t words[]{0x950412DE, 0, 1, 28, 36, 0, 44, from, 44, to, 44 + from + 1};
    return std::string(reinterpret_cast<const char*>(words), sizeof words) + original + '\0' +
           translation + '\0';
  }

  std::filesystem::path folder_;
  std::string domain_;
  int count_ = 0;
};

TEST(CountFormat, UsesATranslationOnlyWhereItIsSafe) {
  const std::string untranslated = "3 of 4 tasks done";
  struct Row {
    std::string translation, text;
    const char* why;
  };
  const std::vector<Row> rows{
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
  Catalogues catalogues;
  for (const Row& row : rows) {
    catalogues.use(row.translation);
    EXPECT_EQ(internal::countText(sentence, 3, 4), row.text) << row.why;
    EXPECT_EQ(internal::countText("%lld/%lld", 3, 4), "3/4") << "not in the catalogue";
    EXPECT_EQ(shown::spoken(shown::show(TaskProgressView(3, 4, Color::black()))),
              std::vector{row.text})
        << row.why;
  }
}

}  // namespace
}  // namespace idlewyn
