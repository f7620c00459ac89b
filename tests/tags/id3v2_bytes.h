// ID3v2 tags put together by hand, one field at a time.
#pragma once

#include "support/bytes.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::test {

inline bytes be_size(std::size_t size) {
  bytes result(4);
  store_be(result.data(), static_cast<std::uint32_t>(size));
  return result;
}
inline bytes synchsafe_size(std::size_t size) {
  return to_bytes({static_cast<int>(size >> 21 & 0x7F), static_cast<int>(size >> 14 & 0x7F),
                   static_cast<int>(size >> 7 & 0x7F), static_cast<int>(size & 0x7F)});
}

/// A whole tag: "ID3", version, revision 0, flags, size, `body`.
inline bytes make_tag(int version, const bytes& body, int flags = 0) {
  return to_bytes("ID3") + to_bytes({version, 0, flags}) + synchsafe_size(body.size()) + body;
}
inline bytes frame_v2(std::string_view id, const bytes& payload) {
  const auto size = be_size(payload.size());
  return to_bytes(id) + bytes(size.begin() + 1, size.end()) + payload;
}
inline bytes frame_v3(std::string_view id, const bytes& payload, int status = 0, int format = 0) {
  return to_bytes(id) + be_size(payload.size()) + to_bytes({status, format}) + payload;
}
inline bytes frame_v4(std::string_view id, const bytes& payload, int status = 0, int format = 0) {
  return to_bytes(id) + synchsafe_size(payload.size()) + to_bytes({status, format}) + payload;
}

/// An encoding byte and text, which may hold zeros.
inline bytes text(std::string_view value, int encoding = 0) { return to_bytes({encoding}) + to_bytes(value); }

/// What a table's cases are called.
inline constexpr auto case_name = [](const auto& tested) { return std::string(tested.param.name); };

} // namespace zelmora::test
