// The system code page: a setting of the host's own, since the system that old tags were written on is not this one.
#include "frame/system_text.h"

#include "frame/advconfig.h"
#include "frame/iconv_handle.h"

namespace zelmora::host {

namespace {

/// Whether `c` alone comes out as itself.
bool keeps(iconv_handle& conversion, char c) {
  std::string out;
  std::string_view in(&c, 1);
  conversion.reset();
  return conversion.convert(in, out) == iconv_handle::result::done && out == std::string_view(&c, 1);
}

/// Tags are cut at bytes of ASCII (a zero, a blank), so it must mean the same in the code page.
bool contains_ascii(const std::string& name) {
  iconv_handle decoder("UTF-8", name);
  iconv_handle encoder(name, "UTF-8");
  for (int c = 0; c < 0x80; ++c)
    if (!keeps(decoder, static_cast<char>(c)) || !keeps(encoder, static_cast<char>(c))) return false;
  return true;
}

/// Names of iconv(3) carry options behind a slash, and an empty one stands for the locale.
bool is_known(const std::string& name) {
  if (name.empty() || name.find_first_of(std::string_view("/\0", 2)) != std::string::npos) return false;
  return iconv_handle("UTF-8", name).is_open() && iconv_handle(name, "UTF-8").is_open();
}

class code_page_setting : public advconfig_string {
 public:
  using advconfig_string::advconfig_string;
  void set_text(std::string_view text) override {
    const std::string name(text);
    if (!is_known(name)) refuse(text, "the name of a code page that iconv knows (iconv -l lists them)");
    if (!contains_ascii(name)) refuse(text, "a code page that contains ASCII");
    set(name);
  }
};

advconfig_factory<code_page_setting> code_page{
    {"system.codePage", "System code page, for tags without an encoding (ID3v1, Lyrics3)",
     "9C1B6D0E-5E0B-4C53-9E5D-7C44A2F1D610"_guid, advconfig_root::tagging, 10},
    default_code_page};

class system_text_impl : public system_text {
 public:
  std::string get_code_page() override { return code_page->get(); }
};

service_factory_single_t<system_text_impl> factory;

} // namespace

} // namespace zelmora::host
