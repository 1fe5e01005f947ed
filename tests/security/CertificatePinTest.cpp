// SPDX-License-Identifier: MIT
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/security/CertificatePin.hpp>
#include <tests/support/TemporaryFolder.hpp>
#include <tools/relay-core/ServerCertificate.hpp>

namespace idlewyn {
namespace {

using testing::TemporaryFolder;

TEST(CertificatePin, NormalisingKeepsHexadecimalCharactersInLowerCase) {
  const std::vector<std::pair<std::string, std::string>> rows{
      {"AB:CD:EF", "abcdef"},
      {"  ab-cd/ef\n", "abcdef"},
      {"", ""},
      {"SHA256:ABCD", "a256abcd"},
      {"ａＢ１９ｆＦ", "ａｂ１９ｆｆ"},  // full-width digits stay
      {"Ｇ０", "０"},                    // full-width, but no digit
      {"a\u0301b", "b"},                 // a digit with an accent is another character
      {"a\u200Db", "b"},                 // joined to an invisible
      {"\u0600a1", "1"},                 // a prefixed sign takes the next one with it
      {"\u0661\u0967\u00B2\u2460", ""},  // digits of other kinds
      {"\xFF"
       "a\xC3"
       "b",
       "ab"},  // broken UTF-8 is no digit
      {"a\r\nb", "ab"},
  };
  for (const auto& [pin, expected] : rows) {
    EXPECT_EQ(CertificatePin::normalized(pin), expected) << pin;
    EXPECT_EQ(CertificatePin::normalized(expected), expected) << "not idempotent: " << pin;
  }
}

constexpr const char* ofNothing =
    "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
constexpr const char* ofABC = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

TEST(CertificatePin, PEMFilesByTheirTexts) {
  struct Row {
    const char* reason;
    std::string text;
    std::optional<std::string> expected;
  };
  const std::vector<Row> rows{
      {"one block", "-----BEGIN CERTIFICATE-----\nYWJj\n-----END CERTIFICATE-----\n", ofABC},
      {"no marker lines, no line end", "YWJj", ofABC},
      {"two blocks are joined", "-----B\nYW\n-----E\n-----B\nJj\n-----E\n", ofABC},
      {"marker lines wherever they stand", "YW\n-----anything\nJj", ofABC},
      {"an empty file", "", ofNothing},
      {"padding inside joined blocks", "-----B\nYQ==\n-----E\n-----B\nYQ==\n-----E", std::nullopt},
      {"cut short", "YWJ", std::nullopt},
      {"a trailing space", "-----B\nYWJj \n-----E", std::nullopt},
      {"CRLF line ends", "-----B\r\nYWJj\r\n-----E\r\n", std::nullopt},
      {"the URL alphabet", "YW_j", std::nullopt},
      {"four dashes are body", "----B\nYWJj", std::nullopt},
      {"not UTF-8", "YWJj\n-----\xFF", std::nullopt},
      {"a byte-order mark", "\xEF\xBB\xBFYWJj", std::nullopt},
      {"NUL", std::string("YWJj\0", 5), std::nullopt},
  };
  EXPECT_EQ(CertificatePin::fingerprint(Certificate(Data::ofText("abc"))), ofABC);
  const TemporaryFolder folder;
  for (const Row& row : rows) {
    const auto file = folder.path() / "certificate.pem";
    std::ofstream(file, std::ios::binary) << row.text;
    EXPECT_EQ(CertificatePin::fingerprintOfPEM(file), row.expected) << row.reason;
  }
}

TEST(CertificatePin, OnlyRegularFilesOfSaneSizeAreRead) {
  const TemporaryFolder folder;
  const auto certificate = relay::ServerCertificate::make();
  const auto file = folder.path() / "cert.pem", pipe = folder.path() / "pipe";
  certificate.write(file, folder.path() / "key.pem");
  EXPECT_EQ(CertificatePin::fingerprintOfPEM(file), certificate.fingerprint);
  std::filesystem::resize_file(file, 17u << 20);
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  // The last one is no base64, and says that it is empty.
  for (const std::filesystem::path& other :
       {file, pipe, folder.path(), folder.path() / "absent", std::filesystem::path("/dev/zero"),
        std::filesystem::path("/proc/self/comm")}) {
    EXPECT_EQ(CertificatePin::fingerprintOfPEM(other), std::nullopt) << other;
  }
}

TEST(CertificatePin, SpellingsOfOnePinShareASessionAlsoWhenAskedAtOnce) {
  EXPECT_EQ(CertificatePin::session("AB:CD"), CertificatePin::session("abcd"));
  EXPECT_NE(CertificatePin::session("abcd"), CertificatePin::session("abce"));
  EXPECT_EQ(CertificatePin::session(""), CertificatePin::session("zz"));

  const std::vector<std::string> spellings{"12:34:FE", "1234fe", "12 34 fE", "x12-34-fe"};
  std::vector<std::shared_ptr<URLSession>> found(16);
  std::atomic<bool> go = false;
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < found.size(); ++i) {
    threads.emplace_back([&, i] {
      while (!go)
        std::this_thread::yield();
      found[i] = CertificatePin::session(spellings[i % spellings.size()]);
    });
  }
  go = true;
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(std::set(found.begin(), found.end()).size(), 1u);
}

}  // namespace
}  // namespace idlewyn
