#include "tags/text_encoding.h"

#include "frame/system_text.h"

#include <gtest/gtest.h>
#include <thread>

namespace zelmora {
namespace {

/// A host that can be told its code page.
class chosen_code_page : public system_text {
 public:
  std::string get_code_page() override { return name; }
  std::string name{default_code_page};
};
service_factory_single_t<chosen_code_page> host;

class SystemCodePage : public testing::Test {
 protected:
  ~SystemCodePage() override { host.get().name = default_code_page; }
};

struct page_case {
  const char* page;
  std::string_view bytes;
  std::string_view text;
  std::string_view back; ///< `text` in the code page again
};

// The rows are from the code pages' tables at unicode.org.
TEST_F(SystemCodePage, BothWays) {
  using namespace std::string_view_literals;
  for (const auto& row : {
           page_case{"Windows-1252", "caf\xE9 \x80 \x99", "café € ™", "caf\xE9 \x80 \x99"},
           // Five bytes are undefined there, and stand for controls.
           page_case{"Windows-1252", "\x81\x8D\x8F\x90\x9D", "\xC2\x81\xC2\x8D\xC2\x8F\xC2\x90\xC2\x9D",
                     "\x81\x8D\x8F\x90\x9D"},
           page_case{"Windows-1251", "\xCF\xF0\xE8\xE2\xE5\xF2", "Привет", "\xCF\xF0\xE8\xE2\xE5\xF2"},
           page_case{"CP932", "\x93\xFA\x96\x7B\\", "日本\\", "\x93\xFA\x96\x7B\\"},
           // A text cut in the middle of a character, as ID3v1 does it.
           page_case{"CP932", "\x93\xFA\x96", "日\uFFFD", "\x93\xFA?"},
           // 0xAA is undefined in Windows-1253, but no control.
           page_case{"Windows-1253", "\xAA\xE1", "\uFFFDα", "?\xE1"},
           page_case{"UTF-8", "\xC3\xA9\x80", "é\uFFFD", "é\uFFFD"},
           page_case{"no such page", "\xE9", "é", "\xE9"},
       }) {
    host.get().name = row.page;
    EXPECT_EQ(from_system_code_page(row.bytes), row.text) << row.page;
    EXPECT_EQ(to_system_code_page(row.text), row.back) << row.page;
  }
}

TEST_F(SystemCodePage, WhatItLacksIsAQuestionMark) {
  EXPECT_EQ(to_system_code_page("a日b😀c\xFFz"), "a?b?c?z");
  host.get().name = "CP932";
  EXPECT_EQ(to_system_code_page("a日ßb"), "a\x93\xFA?b");
}

TEST_F(SystemCodePage, LongTextsComeThroughWhole) {
  std::string bytes;
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    bytes += "\xE9\x80";
    text += "é€";
  }
  EXPECT_EQ(from_system_code_page(bytes), text);
  EXPECT_EQ(to_system_code_page(text), bytes);
}

TEST_F(SystemCodePage, ThreadsConvertAtOnce) {
  const std::string text(1000, '\xE9');
  std::string expected;
  for (int i = 0; i < 1000; ++i) expected += "é";
  std::vector<std::jthread> threads;
  std::atomic<int> wrong = 0;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&] {
      for (int i = 0; i < 200; ++i) wrong += from_system_code_page(text) == expected ? 0 : 1;
    });
  threads.clear();
  EXPECT_EQ(wrong, 0);
}

TEST(SingleBytes, CharactersBeyondAreQuestionMarks) {
  EXPECT_EQ(to_us_ascii("a é 日\xFFz"), "a ? ??z");
  EXPECT_EQ(to_latin1("a é\u0080ÿĀ日"), "a \xE9\x80\xFF??");
  EXPECT_EQ(from_latin1("a\x80\xFF"), "a\u0080ÿ");
}

TEST(Utf16, SurrogatesComeInPairs) {
  struct {
    std::u16string_view units;
    std::string_view text;
  } const rows[]{
      {u"aé日\uFFFF", "aé日\uFFFF"},
      {u"\U00010000\U0010FFFF", "\U00010000\U0010FFFF"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(from_utf16(row.units), row.text);
    EXPECT_EQ(to_utf16(row.text), row.units);
  }
  const char16_t lone[]{0xDC00, u'a', 0xD800, 0xD800, 0xDC00, 0xD800};
  EXPECT_EQ(from_utf16({lone, 6}), "\uFFFDa\uFFFD\U00010000\uFFFD");
  EXPECT_EQ(to_utf16("a\xFF\xED\xA0\x80"), u"a\uFFFD\uFFFD\uFFFD\uFFFD") << "a surrogate in UTF-8 is none";
}

} // namespace
} // namespace zelmora
