// What the tests of this room share: opening fixtures and paths through the registered entries.
#pragma once

#include "frame/text.h"
#include "support/opened_input.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

struct test_decoder : opened_input {
  explicit test_decoder(file_ptr file, std::string_view path = "test.wav") : opened_input(std::move(file), path) {}
};

/// The metadata as "artist=A|B; title=T", by name.
inline std::string meta_text(const file_info& info) {
  std::vector<std::string> fields;
  for (std::size_t field = 0; field < info.meta_get_count(); ++field) {
    auto text = fold_utf8(info.meta_enum_name(field)) + "=";
    for (std::size_t n = 0; n < info.meta_enum_value_count(field); ++n)
      text += (n == 0 ? "" : "|") + info.meta_enum_value(field, n);
    fields.push_back(text);
  }
  std::ranges::sort(fields);
  std::string result;
  for (const auto& field : fields) result += (result.empty() ? "" : "; ") + field;
  return result;
}

/// The reverse of `meta_text`.
inline file_info_impl make_info(std::string_view text) {
  file_info_impl info;
  while (!text.empty()) {
    const auto field = text.substr(0, text.find("; "));
    text.remove_prefix(std::min(text.size(), field.size() + 2));
    const auto name = field.substr(0, field.find('='));
    auto values = field.substr(name.size() + 1);
    for (bool is_last = false; !is_last;) {
      const auto value = values.substr(0, values.find('|'));
      is_last = value.size() == values.size();
      values.remove_prefix(std::min(values.size(), value.size() + 1));
      info.meta_add(name, value);
    }
  }
  return info;
}

} // namespace zelmora::test
