// SPDX-License-Identifier: MIT
#include <exception>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <IdlewynKit/platform/net/URLError.hpp>
#include <IdlewynKit/relay/RelayError.hpp>

#include <tools/idlewyn/prompts/AnswerDoubt.hpp>
#include <tools/idlewyn/prompts/ShellWord.hpp>
#include <tools/idlewyn/terminal/DisplayWidth.hpp>
#include <tools/idlewyn/terminal/Margin.hpp>

namespace idlewyn::command {
namespace {

using Lines = std::vector<std::string>;

TEST(Margin, KeepsLinesAndMarksThoseThatGoOn) {
  const std::tuple<std::string, std::optional<std::size_t>, Lines, const char*> rows[] = {
      {"cat <<EOF\n\tone\n\nEOF",
       std::nullopt,
       {" │ cat <<EOF", " │ \tone", " │ ", " │ EOF"},
       "a here-document"},
      {"\tone", 20, {" │         one"}, "tab stops count from the margin"},
      {"0123456789ab", 13, {" │ 0123456789", " ↪ ab"}, "a row that goes on"},
      {"01234567 89", 11, {" │ 01234567", " ↪  89"}, "blanks begin the next row"},
      {"0123456 \u65E5\u672C", 11, {" │ 0123456", " ↪  \u65E5\u672C"}, "wide characters"},
      {"01234567e\u0301\u0323", 11, {" │ 01234567", " ↪ e\u0301\u0323"}, "marks stay"},
      {"", 80, {" │ "}, "nothing"},
      {"a\u202Eb", 80, {" │ a\\u{202E}b"}, "what could not be seen"},
      {"012345678901", 0, {" │ 01234567", " ↪ 8901"}, "a terminal without columns"},
  };
  for (const auto& [text, columns, lines, reason] : rows)
    EXPECT_EQ(behindMargin(text, " ", columns), lines) << reason;
}

TEST(Margin, ShowsEveryCharacterOfALongWordWithinTheColumns) {
  const std::string word(20000, 'x');
  std::string read;
  for (const std::string& line : behindMargin(word, "  ", 80)) {
    EXPECT_LE(displayWidth(line), 80u);
    read += line.substr(line.find("x"));
  }
  EXPECT_EQ(read, word);
}

TEST(ShellWord, CanBePastedWhateverTheIDIs) {
  const std::tuple<std::string, std::string> rows[] = {
      {"tidy-up-1", "tidy-up-1"},
      {"-rf", "-- '-rf'"},
      {"a;touch$IFS/tmp/pwn", "'a;touch$IFS/tmp/pwn'"},
      {"it's", "'it'\\''s'"},
      {"a\nb", "'a\\u{0A}b'"},
      {"é b", "'é b'"},
      {"~", "'~'"},
  };
  for (const auto& [id, word] : rows)
    EXPECT_EQ(pasteableID(id), word);
}

TEST(AnswerDoubt, TellsOfAnAnswerThatMayHaveBeenTaken) {
  using platform::URLErrorCode;
  const auto lost = [](URLErrorCode code) {
    return std::make_exception_ptr(platform::URLError(code, std::nullopt, "Lost."));
  };
  const std::tuple<std::exception_ptr, bool, const char*> rows[] = {
      {lost(URLErrorCode::timedOut), true, "a time-out"},
      {lost(URLErrorCode::networkConnectionLost), true, "a connection that broke"},
      {lost(URLErrorCode::badServerResponse), true, "a response that makes no sense"},
      {std::make_exception_ptr(interruption()), true, "an interruption"},
      {std::make_exception_ptr(RelayError::invalidResponse()), true, "another body"},
      {std::make_exception_ptr(RelayError::server(502)), true, "a proxy that lost it"},
      {std::make_exception_ptr(RelayError::server(400)), false, "a refusal"},
      {std::make_exception_ptr(RelayError::unauthorized()), false, "a token refused"},
      {std::make_exception_ptr(RelayError::promptExpired()), false, "it was answered before"},
      {lost(URLErrorCode::cannotConnectToHost), false, "nothing was sent"},
      {lost(URLErrorCode::serverCertificateUntrusted), false, "nothing was sent"},
  };
  for (const auto& [error, isInDoubt, reason] : rows) {
    const std::string said = describeAnswering(error, "-p").message;
    EXPECT_EQ(said.find("answered all the same") != std::string::npos, isInDoubt) << reason;
    EXPECT_EQ(said.ends_with("idlewyn show -- '-p'"), isInDoubt) << reason;
  }
}

TEST(AnswerDoubt, KnowsDotSegments) {
  for (const char* id : {".", "..", "a/../b", "./a", "a/."})
    EXPECT_TRUE(hasDotSegment(id)) << id;
  for (const char* id : {"", "a", "...", "a.b", "a/..b", "%2e"})
    EXPECT_FALSE(hasDotSegment(id)) << id;
}

}  // namespace
}  // namespace idlewyn::command
