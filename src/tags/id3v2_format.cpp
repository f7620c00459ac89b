#include "tags/id3v2_format.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <optional>
#include <utility>
#include <zlib.h>

namespace zelmora::id3parser {

namespace {

// --- constants -----------------------------------------------------------------------------------------------------

constexpr std::size_t tag_header_size = 10;
constexpr std::size_t frame_header_size = 10;
constexpr std::size_t new_padding = 2048;

/// Names of version 2.2 and what they are called since. Section 4 of each version's document.
struct short_name {
  char old_name[4];
  std::uint32_t id;
};
constexpr std::array short_names{
    short_name{"TT1", fourcc("TIT1")}, short_name{"TT2", fourcc("TIT2")}, short_name{"TT3", fourcc("TIT3")},
    short_name{"TP1", fourcc("TPE1")}, short_name{"TP2", fourcc("TPE2")}, short_name{"TP3", fourcc("TPE3")},
    short_name{"TP4", fourcc("TPE4")}, short_name{"TCM", fourcc("TCOM")}, short_name{"TXT", fourcc("TEXT")},
    short_name{"TLA", fourcc("TLAN")}, short_name{"TCO", fourcc("TCON")}, short_name{"TAL", fourcc("TALB")},
    short_name{"TRK", fourcc("TRCK")}, short_name{"TRC", fourcc("TSRC")}, short_name{"TYE", fourcc("TYER")},
    short_name{"TBP", fourcc("TBPM")}, short_name{"TCR", fourcc("TCOP")}, short_name{"TPB", fourcc("TPUB")},
    short_name{"TEN", fourcc("TENC")}, short_name{"TSS", fourcc("TSSE")}, short_name{"TOA", fourcc("TOPE")},
    short_name{"TXX", fourcc("TXXX")}, short_name{"TPA", fourcc("TPOS")}, short_name{"WAF", fourcc("WOAF")},
    short_name{"WAR", fourcc("WOAR")}, short_name{"WAS", fourcc("WOAS")}, short_name{"WCP", fourcc("WCOP")},
    short_name{"WCM", fourcc("WCOM")}, short_name{"WPB", fourcc("WPUB")}, short_name{"WXX", fourcc("WXXX")},
    short_name{"COM", fourcc("COMM")}, short_name{"PIC", fourcc("APIC")}, short_name{"TCP", fourcc("TCMP")},
};

std::uint32_t id_of_short_name(std::span<const std::byte, 3> name) {
  for (const auto& row : short_names)
    if (std::memcmp(row.old_name, name.data(), name.size()) == 0) return row.id;
  return 0;
}

/// Flags of the tag header.
enum tag_flag : std::uint8_t { unsynchronised = 0x80, has_extended_header = 0x40 };

/// What a version makes of a frame's two flag bytes.
struct frame_flags {
  std::uint8_t status_unusable; ///< status bits of frames that can't be kept through a change of the tag
  std::uint8_t format_unusable; ///< encryption and grouping
  std::uint8_t length_indicator;
  std::uint8_t unsynchronisation;
  std::uint8_t compression;
};
constexpr frame_flags flags_of_v3{0, 0x60, 0, 0, 0x80};
constexpr frame_flags flags_of_v4{0x70, 0x44, 0x01, 0x02, 0x08};

// --- numbers -------------------------------------------------------------------------------------------------------

/// Four bytes of seven bits, big-endian (version 2.4.0, section 6.2).
std::uint32_t read_synchsafe(be_reader& in) {
  const auto raw = in.be32();
  if ((raw & 0x80808080u) != 0) throw parseError();
  return (raw & 0x7F) | (raw & 0x7F00) >> 1 | (raw & 0x7F0000) >> 2 | (raw & 0x7F000000) >> 3;
}

void put_be32(std::vector<std::byte>& out, std::uint32_t value) {
  std::array<std::byte, 4> bytes;
  store_be(bytes.data(), value);
  out.insert(out.end(), bytes.begin(), bytes.end());
}

std::uint32_t synchsafe(std::size_t value) {
  if (value >= synchsafe_limit) throw writeError();
  const auto v = static_cast<std::uint32_t>(value);
  return (v & 0x7F) | (v & 0x3F80) << 1 | (v & 0x1FC000) << 2 | (v & 0xFE00000) << 3;
}

bool is_false_sync(std::byte next) { return (next & std::byte{0xE0}) == std::byte{0xE0}; }

// --- compression ---------------------------------------------------------------------------------------------------

/// Frees the stream with the scope.
class inflater {
 public:
  explicit inflater(std::span<const std::byte> data) {
    stream_.next_in = reinterpret_cast<Bytef*>(const_cast<std::byte*>(data.data()));
    stream_.avail_in = static_cast<uInt>(data.size());
    if (data.empty() || ::inflateInit(&stream_) != Z_OK) throw parseError();
  }
  ~inflater() { ::inflateEnd(&stream_); }
  inflater(const inflater&) = delete;
  inflater& operator=(const inflater&) = delete;

  /// All of the output; more than `limit` bytes is damage.
  std::vector<std::byte> run(std::size_t limit) {
    std::vector<std::byte> out;
    for (std::size_t done = 0;;) {
      if (done == out.size()) {
        if (done >= limit) throw parseError();
        out.resize(std::min(limit, std::max<std::size_t>(done * 2, 4096)));
      }
      stream_.next_out = reinterpret_cast<Bytef*>(out.data() + done);
      stream_.avail_out = static_cast<uInt>(out.size() - done);
      const int result = ::inflate(&stream_, Z_NO_FLUSH);
      done = out.size() - stream_.avail_out;
      if (result == Z_STREAM_END) {
        out.resize(done);
        return out;
      }
      if (result != Z_OK) throw parseError();
    }
  }

 private:
  z_stream stream_{};
};

// --- frames --------------------------------------------------------------------------------------------------------

/// The three letters of a 2.2 picture as a MIME type.
std::string_view mime_of_short_name(std::string_view name) {
  if (name == "PNG") return "image/png";
  if (name == "JPG") return "image/jpeg";
  if (name == "GIF") return "image/gif";
  return "image/x-unknown";
}

/// "PIC" as "APIC": the encoding byte, a MIME type in place of three letters, the rest.
std::vector<std::byte> convert_short_picture(std::span<const std::byte> payload) {
  constexpr std::size_t letters_end = 4;
  if (payload.size() < letters_end || payload[0] > std::byte{1}) throw parseError();
  const auto mime = as_byte_span(mime_of_short_name({reinterpret_cast<const char*>(payload.data()) + 1, 3}));
  std::vector<std::byte> out{payload[0]};
  out.insert(out.end(), mime.begin(), mime.end());
  out.push_back(std::byte{0});
  out.insert(out.end(), payload.begin() + letters_end, payload.end());
  return out;
}

/// Reads the frames behind the tag header, for each version in its way.
class frame_list_reader {
 public:
  frame_list_reader(std::span<const std::byte> body, bool damaged, std::size_t tag_size, const frame_filter& wanted,
                    damaged_frames damaged_ones, std::vector<frame>& out)
      : in_(body), damaged_(damaged), inflation_left_(tag_size * 16 + inflation_allowance), wanted_(wanted),
        damaged_ones_(damaged_ones), out_(out) {}

  void skip_extended_header_v3() { in_.skip(in_.be32()); }
  void skip_extended_header_v4() {
    const auto size = read_synchsafe(in_);
    if (size < 6) throw parseError();
    in_.skip(size - 4);
  }

  void read_v2() {
    while (const auto name = next_name<3>()) {
      const std::size_t size = std::to_integer<std::size_t>(name->second[0]) << 16 |
                               std::to_integer<std::size_t>(name->second[1]) << 8 |
                               std::to_integer<std::size_t>(name->second[2]);
      if (size == 0) continue;
      const auto payload = in_.take(size);
      const auto id = id_of_short_name(name->first);
      if (id == 0 && !is_wanted(0)) continue;
      add(id, [&] { return id == fourcc("APIC") ? convert_short_picture(payload) : copy(payload); });
    }
  }

  void read_v3() {
    read_long_frames(flags_of_v3, [](be_reader& in) { return in.be32(); });
  }
  void read_v4() { read_long_frames(flags_of_v4, read_synchsafe); }

 private:
  static std::vector<std::byte> copy(std::span<const std::byte> bytes) { return {bytes.begin(), bytes.end()}; }
  bool is_wanted(std::uint32_t id) const { return !wanted_ || wanted_(id); }

  /// True at the padding or the end. Data cut short by a false synchronisation has no proper end.
  bool is_at_end(std::size_t name_size) {
    if (in_.remaining() >= name_size) {
      auto look = in_;
      return look.u8() == 0;
    }
    if (damaged_) throw parseError();
    return true;
  }

  /// A name of `Size` bytes and as many behind it.
  template <std::size_t Size>
  std::optional<std::pair<std::span<const std::byte, Size>, std::span<const std::byte, Size>>> next_name() {
    if (is_at_end(Size)) return std::nullopt;
    const auto name = in_.take(Size);
    return std::pair(name.first<Size>(), in_.take(Size).first<Size>());
  }

  template <class ReadSize>
  void read_long_frames(const frame_flags& flags, ReadSize read_size) {
    while (!is_at_end(4)) {
      const auto name = in_.take(4);
      const auto size = read_size(in_);
      const auto status = in_.u8();
      const auto format = in_.u8();
      if (size >= frame_size_limit) throw parseError();
      const auto payload = in_.take(size);
      const auto id = read_id(name);
      const bool unusable = (status & flags.status_unusable) != 0 || (format & flags.format_unusable) != 0;
      if (size == 0 || unusable || !is_wanted(id)) continue;
      add(id, [&] { return unwrap(payload, format, flags); });
    }
  }

  template <class MakePayload>
  void add(std::uint32_t id, MakePayload make_payload) {
    try {
      out_.push_back({id, make_payload()});
    } catch (const parseError&) {
      if (damaged_ones_ == damaged_frames::raise) throw;
    }
  }

  /// Some writers leave the names of 2.2 in later tags, with a zero behind them.
  static std::uint32_t read_id(std::span<const std::byte> name) {
    return name[3] == std::byte{0} ? id_of_short_name(name.first<3>()) : load_be<std::uint32_t>(name.data());
  }

  std::vector<std::byte> unwrap(std::span<const std::byte> payload, std::uint8_t format, const frame_flags& flags) {
    const bool is_compressed = (format & flags.compression) != 0;
    // The uncompressed size: a word of its own in 2.3, the length indicator in 2.4.
    const bool has_length = flags.length_indicator == 0 ? is_compressed : (format & flags.length_indicator) != 0;
    if (has_length) {
      if (payload.size() < 4) throw parseError();
      payload = payload.subspan(4);
    }
    std::vector<std::byte> plain;
    if ((format & flags.unsynchronisation) != 0) {
      auto result = undo_unsynchronisation(payload);
      if (result.damaged) throw parseError();
      plain = std::move(result.data);
      payload = plain;
    }
    if (is_compressed) {
      auto inflated = inflater(payload).run(std::min(frame_size_limit, inflation_left_));
      inflation_left_ -= inflated.size();
      return inflated;
    }
    return plain.empty() ? copy(payload) : plain;
  }

  be_reader in_;
  bool damaged_;
  std::size_t inflation_left_;
  const frame_filter& wanted_;
  damaged_frames damaged_ones_;
  std::vector<frame>& out_;
};

void parse_body(tag& result, std::span<const std::byte> body, std::uint8_t flags, const frame_filter& wanted,
                damaged_frames damaged) {
  // In 2.4 each frame tells for itself.
  synchronised plain;
  if ((flags & unsynchronised) != 0 && result.version < 4) {
    plain = undo_unsynchronisation(body);
    body = plain.data;
  }
  frame_list_reader frames(body, plain.damaged, body.size(), wanted, damaged, result.frames);
  const bool is_extended = (flags & has_extended_header) != 0;
  switch (result.version) {
  case 2: return frames.read_v2();
  case 3:
    if (is_extended) frames.skip_extended_header_v3();
    return frames.read_v3();
  default:
    if (is_extended) frames.skip_extended_header_v4();
    return frames.read_v4();
  }
}

/// Flag bits that a version doesn't have: what they announce can't be read over.
std::uint8_t unknown_flags(unsigned version) {
  constexpr std::array<std::uint8_t, 3> masks{0x7F, 0x1F, 0x0F};
  if (version < 2 || version > 4) throw parseError();
  return masks[version - 2];
}

} // namespace

synchronised undo_unsynchronisation(std::span<const std::byte> data) {
  synchronised result;
  result.data.reserve(data.size());
  while (!data.empty()) {
    const auto* const found = static_cast<const std::byte*>(std::memchr(data.data(), 0xFF, data.size()));
    const auto count = found == nullptr ? data.size() : static_cast<std::size_t>(found - data.data()) + 1;
    result.data.insert(result.data.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(count));
    data = data.subspan(count);
    if (found == nullptr || data.empty()) break;
    if (is_false_sync(data.front())) {
      result.damaged = true;
      // The byte before it was never whole.
      result.data.pop_back();
      break;
    }
    if (data.front() == std::byte{0}) data = data.subspan(1);
  }
  return result;
}

tag parse(std::span<const std::byte> data, const frame_filter& wanted, damaged_frames damaged) {
  try {
    be_reader in(data);
    if (in.text(3) != "ID3") throw parseError();
    tag result;
    result.version = in.u8();
    in.skip(1); // revision: compatible by definition
    const auto flags = in.u8();
    if ((flags & unknown_flags(result.version)) != 0) throw parseError();
    const auto size = read_synchsafe(in);
    parse_body(result, in.take(size), flags, wanted, damaged);
    return result;
  } catch (const zelmora_io::exception_io_data&) {
    throw parseError();
  }
}

// --- writing -------------------------------------------------------------------------------------------------------

namespace {

/// Whether a zero has to go behind the byte at `i`: against a false synchronisation, at the end too, and before a zero
/// that readers would take for one of ours. They do so in every frame of a tag whose header has the flag.
bool needs_zero(std::span<const std::byte> payload, std::size_t i) {
  if (payload[i] != std::byte{0xFF}) return false;
  return i + 1 == payload.size() || is_false_sync(payload[i + 1]) || payload[i + 1] == std::byte{0};
}

std::size_t count_unsynchronisation(std::span<const std::byte> payload) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < payload.size(); ++i)
    if (needs_zero(payload, i)) ++count;
  return count;
}

void append_unsynchronised(std::vector<std::byte>& out, std::span<const std::byte> payload) {
  for (std::size_t i = 0; i < payload.size(); ++i) {
    out.push_back(payload[i]);
    if (needs_zero(payload, i)) out.push_back(std::byte{0});
  }
}

/// The size of a frame's body, which whoever parses the tag again must accept.
std::uint32_t checked_frame_size(std::size_t size) {
  if (size >= frame_size_limit) throw writeError();
  return static_cast<std::uint32_t>(size);
}

void append_frame_v3(std::vector<std::byte>& out, const frame& f) {
  put_be32(out, f.id);
  put_be32(out, checked_frame_size(f.payload.size()));
  out.insert(out.end(), 2, std::byte{0});
  out.insert(out.end(), f.payload.begin(), f.payload.end());
}

void append_frame_v4(std::vector<std::byte>& out, const frame& f) {
  const auto zeros = count_unsynchronisation(f.payload);
  put_be32(out, f.id);
  if (zeros == 0) {
    put_be32(out, synchsafe(checked_frame_size(f.payload.size())));
    out.insert(out.end(), 2, std::byte{0});
    out.insert(out.end(), f.payload.begin(), f.payload.end());
    return;
  }
  put_be32(out, synchsafe(checked_frame_size(f.payload.size() + zeros + 4)));
  out.push_back(std::byte{0});
  out.push_back(std::byte{flags_of_v4.unsynchronisation | flags_of_v4.length_indicator});
  put_be32(out, synchsafe(f.payload.size()));
  append_unsynchronised(out, f.payload);
}

std::size_t choose_padding(std::size_t total, std::uint64_t old_size, std::size_t limit) {
  if (total <= old_size && old_size - total <= limit) return static_cast<std::size_t>(old_size - total);
  return std::min(limit, new_padding);
}

} // namespace

std::vector<std::byte> serialize(const tag& source, std::uint64_t old_size, std::size_t padding_limit) {
  if (source.version != 3 && source.version != 4) throw writeError();
  std::size_t expected = tag_header_size + padding_limit;
  for (const auto& f : source.frames) expected += f.payload.size() + frame_header_size;
  if (expected - padding_limit >= synchsafe_limit) throw writeError();
  std::vector<std::byte> out;
  out.reserve(expected);
  const auto magic = as_byte_span("ID3");
  out.assign(magic.begin(), magic.end());
  out.push_back(std::byte{static_cast<std::uint8_t>(source.version)});
  out.push_back(std::byte{0});
  out.push_back(std::byte{static_cast<std::uint8_t>(source.version == 4 ? unsynchronised : 0)});
  put_be32(out, 0);
  for (const auto& f : source.frames) source.version == 3 ? append_frame_v3(out, f) : append_frame_v4(out, f);
  out.resize(out.size() + choose_padding(out.size(), old_size, padding_limit));
  store_be(out.data() + tag_header_size - 4, synchsafe(out.size() - tag_header_size));
  return out;
}

} // namespace zelmora::id3parser
