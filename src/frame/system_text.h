// The encoding in which old tags hold their text: that of the system they were written on.
#pragma once

#include "frame/service.h"

#include <string>
#include <string_view>

namespace zelmora {

/// What holds where a host knows no code page.
inline constexpr std::string_view default_code_page = "Windows-1252";

/// Offered by hosts that know the system code page.
class system_text : public service_base {
 public:
  using interface_type = system_text;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D45"_guid;

  /// Its name as iconv(3) knows it, such as "Windows-1252" or "CP932": a code page in which ASCII text is what it is in
  /// ASCII. Called from any thread, whenever text in the code page is met.
  virtual std::string get_code_page() = 0;
};

} // namespace zelmora
