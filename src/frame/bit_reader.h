// Bits of a stream, most significant first.
#pragma once

#include "frame/exceptions.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace zelmora {

class bit_reader {
 public:
  explicit bit_reader(std::span<const std::byte> data) noexcept : data_(data) {}

  std::size_t remaining() const noexcept { return data_.size() * 8 - position_; }

  /// The next `count` bits, at most 32, as a number. Raises `exception_io_data` when there are fewer.
  std::uint32_t read(unsigned count) {
    if (count > remaining()) throw zelmora_io::exception_io_data();
    std::uint64_t value = 0;
    const auto end = position_ + count;
    const auto last = (end + 7) / 8;
    for (auto byte = position_ / 8; byte < last; ++byte)
      value = value << 8 | std::to_integer<std::uint64_t>(data_[byte]);
    position_ = end;
    value >>= last * 8 - end;
    return static_cast<std::uint32_t>(value & ((std::uint64_t{1} << count) - 1));
  }
  bool flag() { return read(1) != 0; }

 private:
  std::span<const std::byte> data_;
  std::size_t position_ = 0; ///< [bits]
};

} // namespace zelmora
