#include "frame/system_text.h"

#include "frame/album_art.h"
#include "host_fixture.h"

namespace zelmora {
namespace {

using test::raised;

class SystemText : public test::HostTest {
 protected:
  ~SystemText() override { setting()->set_text(setting()->get_default_text()); }
  static service_ptr_t<advconfig_entry> setting() { return host::find_setting("system.codePage"); }
};

TEST_F(SystemText, TheHostNamesTheCodePage) {
  EXPECT_EQ(service_single<system_text>()->get_code_page(), "Windows-1252");
  setting()->set_text("CP932");
  EXPECT_EQ(service_single<system_text>()->get_code_page(), "CP932");
}

TEST_F(SystemText, WhatCanNotBeOneIsRefused) {
  const auto refusal = [&](std::string_view name) { return raised([&] { setting()->set_text(name); }); };
  for (const auto* unknown : {"", "no such page", "CP1252//TRANSLIT", "/"})
    EXPECT_EQ(refusal(unknown),
              std::string("exception_invalid_params: system.codePage takes the name of a code page that "
                          "iconv knows (iconv -l lists them), not \"") +
                  unknown + "\"");
  // ESC begins something there, a "+" or "~" does; or all characters are two bytes, or other ones.
  for (const auto* other : {"ISO-2022-JP", "UTF-7", "UTF-16", "UCS-4LE", "EBCDIC-US"})
    EXPECT_EQ(refusal(other),
              std::string("exception_invalid_params: system.codePage takes a code page that contains ASCII, not \"") +
                  other + "\"");
  EXPECT_EQ(service_single<system_text>()->get_code_page(), "Windows-1252");
  for (const auto* name : {"windows-1251", "CP936", "CP949", "CP950", "KOI8-R", "ISO-8859-15", "UTF-8", "CP437"})
    EXPECT_EQ(refusal(name), "") << name;
}

TEST_F(SystemText, ImagesAreKnownByTheirFirstBytes) {
  using namespace std::string_view_literals;
  const std::pair<std::string_view, const char*> rows[]{{"\xFF\xD8\xFF\xE0 and more"sv, "jpeg"},
                                                        {"\x89PNG\r\n\x1A\n"sv, "png"},
                                                        {"GIF89a..."sv, "gif"},
                                                        {"RIFF....WEBPVP8 "sv, "webp"},
                                                        {"BM"sv, "bmp"},
                                                        {"\xFF\xD8"sv, ""},
                                                        {"RIFF....WAVE"sv, ""},
                                                        {""sv, ""}};
  for (const auto& [image, name] : rows) EXPECT_EQ(image_format_name(as_byte_span(image)), name);
}

} // namespace
} // namespace zelmora
