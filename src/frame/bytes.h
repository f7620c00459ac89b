// Bytes and their order: the one way in which file data becomes numbers.
//
// A reader is made for one byte order and has no method of the other. A failed read changes nothing and raises
// `exception_io_data_truncation`; a size read from a file is compared with `remaining()` before it is used.
#pragma once

#include "frame/exceptions.h"

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

namespace zelmora {

namespace detail {
template <std::size_t Size>
struct unsigned_of_size;
template <>
struct unsigned_of_size<1> {
  using type = std::uint8_t;
};
template <>
struct unsigned_of_size<2> {
  using type = std::uint16_t;
};
template <>
struct unsigned_of_size<4> {
  using type = std::uint32_t;
};
template <>
struct unsigned_of_size<8> {
  using type = std::uint64_t;
};

template <std::unsigned_integral T>
constexpr T swap_bytes(T value) {
  if constexpr (sizeof(T) == 1)
    return value;
  else if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else
    return __builtin_bswap64(value);
}
} // namespace detail

/// A number that stands in a file: an integer or an IEEE float.
template <class T>
concept wire_number = std::is_arithmetic_v<T> && !std::same_as<T, bool>;

/// `T` from `sizeof(T)` bytes at `source`, in `order`. The caller has checked that the bytes are there.
template <wire_number T, std::endian order>
T load_bytes(const void* source) noexcept {
  typename detail::unsigned_of_size<sizeof(T)>::type raw;
  std::memcpy(&raw, source, sizeof raw);
  if constexpr (order != std::endian::native) raw = detail::swap_bytes(raw);
  return std::bit_cast<T>(raw);
}
template <wire_number T>
T load_le(const void* source) noexcept {
  return load_bytes<T, std::endian::little>(source);
}
template <wire_number T>
T load_be(const void* source) noexcept {
  return load_bytes<T, std::endian::big>(source);
}

/// `value` as `sizeof(T)` bytes at `destination`, in `order`.
template <wire_number T, std::endian order>
void store_bytes(void* destination, T value) noexcept {
  auto raw = std::bit_cast<typename detail::unsigned_of_size<sizeof(T)>::type>(value);
  if constexpr (order != std::endian::native) raw = detail::swap_bytes(raw);
  std::memcpy(destination, &raw, sizeof raw);
}
template <wire_number T>
void store_le(void* destination, T value) noexcept {
  store_bytes<T, std::endian::little>(destination, value);
}
template <wire_number T>
void store_be(void* destination, T value) noexcept {
  store_bytes<T, std::endian::big>(destination, value);
}

/// Sums and products of sizes taken from files: raise `kiv::exception_overflow` instead of wrapping.
template <std::unsigned_integral T>
constexpr T checked_add(T a, T b) {
  T result;
  if (__builtin_add_overflow(a, b, &result)) throw kiv::exception_overflow();
  return result;
}
template <std::unsigned_integral T>
constexpr T checked_mul(T a, T b) {
  T result;
  if (__builtin_mul_overflow(a, b, &result)) throw kiv::exception_overflow();
  return result;
}
/// `value` in the narrower type `To`; raises `kiv::exception_overflow` when it does not fit.
template <std::integral To, std::integral From>
constexpr To checked_cast(From value) {
  if (!std::in_range<To>(value)) throw kiv::exception_overflow();
  return static_cast<To>(value);
}

/// Bounded reader over bytes in memory.
template <std::endian order>
class byte_reader {
 public:
  explicit byte_reader(std::span<const std::byte> data) noexcept : data_(data) {}

  std::size_t remaining() const noexcept { return data_.size() - position_; }
  std::size_t position() const noexcept { return position_; }

  /// The next `count` bytes, which stay owned by the buffer.
  std::span<const std::byte> take(std::size_t count) {
    if (count > remaining()) throw zelmora_io::exception_io_data_truncation();
    const auto result = data_.subspan(position_, count);
    position_ += count;
    return result;
  }
  void skip(std::size_t count) { take(count); }
  /// A reader over the next `count` bytes alone: what a child is read through, so that it cannot overrun its parent.
  byte_reader cut(std::size_t count) { return byte_reader(take(count)); }

  template <wire_number T>
  T read() {
    return load_bytes<T, order>(take(sizeof(T)).data());
  }
  std::uint8_t u8() { return read<std::uint8_t>(); }
  /// The next `count` bytes as text, unchecked.
  std::string_view text(std::size_t count) {
    const auto bytes = take(count);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

 private:
  std::span<const std::byte> data_;
  std::size_t position_ = 0;
};

/// Reader of a little-endian format.
class le_reader : public byte_reader<std::endian::little> {
 public:
  using byte_reader::byte_reader;
  std::uint16_t le16() { return read<std::uint16_t>(); }
  std::uint32_t le32() { return read<std::uint32_t>(); }
  std::uint64_t le64() { return read<std::uint64_t>(); }
};

/// Reader of a big-endian format.
class be_reader : public byte_reader<std::endian::big> {
 public:
  using byte_reader::byte_reader;
  std::uint16_t be16() { return read<std::uint16_t>(); }
  std::uint32_t be32() { return read<std::uint32_t>(); }
  std::uint64_t be64() { return read<std::uint64_t>(); }
};

/// Four characters as the big-endian number that they make: how chunk and frame names are compared.
consteval std::uint32_t fourcc(const char (&name)[5]) {
  std::uint32_t result = 0;
  for (int i = 0; i < 4; ++i) result = result << 8 | static_cast<unsigned char>(name[i]);
  return result;
}

/// Whether `data` begins with the characters of `prefix`.
inline bool starts_with(std::span<const std::byte> data, std::string_view prefix) noexcept {
  return data.size() >= prefix.size() && std::memcmp(data.data(), prefix.data(), prefix.size()) == 0;
}

/// The characters of `text` as bytes.
inline std::span<const std::byte> as_byte_span(std::string_view text) noexcept {
  return {reinterpret_cast<const std::byte*>(text.data()), text.size()};
}

} // namespace zelmora
