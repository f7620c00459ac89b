#include "cli/wav_writer.h"

#include "frame/audio_chunk.h"
#include "frame/bytes.h"
#include "frame/exceptions.h"
#include "frame/wave_tags.h"

#include <limits>

namespace zelmora::cli {

namespace {

constexpr std::uint32_t unknown_32 = 0xFFFFFFFF;
constexpr std::uint32_t ds64_size = 28;

/// The fields of a header, in file order.
class header_builder {
 public:
  void id(std::string_view four) { append(as_byte_span(four)); }
  void id(const guid& sixteen) { append(std::as_bytes(std::span(sixteen.bytes))); }
  template <wire_number T>
  void number(T value) {
    std::byte raw[sizeof(T)];
    store_le(raw, value);
    append(raw);
  }
  void zeros(std::size_t count) { bytes_.resize(bytes_.size() + count); }
  std::vector<std::byte> take() { return std::move(bytes_); }

 private:
  void append(std::span<const std::byte> bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }

  std::vector<std::byte> bytes_;
};

std::uint32_t capped_32(std::uint64_t value) {
  return value > unknown_32 ? unknown_32 : static_cast<std::uint32_t>(value);
}

} // namespace

/// What a header tells. All ones are what it says when nobody knows.
struct wav_writer::sizes {
  std::uint64_t riff = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t data = std::numeric_limits<std::uint64_t>::max();
  std::uint64_t samples = std::numeric_limits<std::uint64_t>::max();

  bool is_known() const { return riff != std::numeric_limits<std::uint64_t>::max(); }
  bool is_large() const { return is_known() && riff > unknown_32; }
};

wav_writer::wav_writer(byte_sink& sink, const wav_format& format, std::optional<std::uint64_t> expected_samples)
    : sink_(sink), format_(format), frame_size_(format.channels * sample_size(format.form)) {
  if (expected_samples) {
    // A length that no file can have is none.
    const auto limit = (std::uint64_t{1} << 62) / frame_size_;
    if (*expected_samples <= limit) expected_bytes_ = *expected_samples * frame_size_;
  }
  const auto expected = expected_bytes_ ? sizes_of(*expected_bytes_) : sizes();
  reserves_ = expected.is_large() || (sink.can_patch() && (!expected_bytes_ || *expected_bytes_ > reserve_limit));
  // The place for 64-bit sizes is part of what the header counts.
  sink_.write(make_header(expected_bytes_ ? sizes_of(*expected_bytes_) : sizes()));
}

bool wav_writer::is_extensible() const {
  const bool usual = format_.mask == 0 || format_.mask == channel_config_guess(format_.channels);
  return format_.channels > 2 || !usual;
}

wav_writer::sizes wav_writer::sizes_of(std::uint64_t data_bytes) const {
  const auto header = make_header(sizes()).size();
  return {header - 8 + data_bytes + data_bytes % 2, data_bytes, data_bytes / frame_size_};
}

std::vector<std::byte> wav_writer::make_header(const sizes& told) const {
  const bool is_float = format_.form == sample_form::f32;
  const bool extensible = is_extensible();
  const auto bits = static_cast<std::uint16_t>(sample_size(format_.form) * 8);
  const auto tag = is_float ? wave_tag::ieee_float : wave_tag::pcm;
  header_builder out;
  out.id(told.is_large() ? "RF64" : "RIFF");
  out.number(capped_32(told.riff));
  out.id("WAVE");
  if (told.is_large()) {
    out.id("ds64");
    out.number(ds64_size);
    out.number(told.riff);
    out.number(told.data);
    out.number(told.samples);
    out.number(std::uint32_t{0}); // no table of other large chunks
  } else if (reserves_) {
    out.id("JUNK");
    out.number(ds64_size);
    out.zeros(ds64_size);
  }
  out.id("fmt ");
  out.number(std::uint32_t{extensible ? 40u : is_float ? 18u : 16u});
  out.number(extensible ? wave_tag::extensible : tag);
  out.number(static_cast<std::uint16_t>(format_.channels));
  out.number(format_.rate);
  out.number(format_.rate * frame_size_);
  out.number(static_cast<std::uint16_t>(frame_size_));
  out.number(bits);
  if (extensible) {
    out.number(std::uint16_t{22});
    out.number(bits);
    out.number(format_.mask);
    out.id(is_float ? wave_subformat::ieee_float : wave_subformat::pcm);
  } else if (is_float) {
    out.number(std::uint16_t{0});
  }
  if (is_float) { // every format but plain PCM has it
    out.id("fact");
    out.number(std::uint32_t{4});
    out.number(capped_32(told.samples));
  }
  out.id("data");
  out.number(told.is_large() ? unknown_32 : capped_32(told.data));
  return out.take();
}

void wav_writer::write(std::span<const std::byte> data) {
  sink_.write(data);
  written_ += data.size();
}

bool wav_writer::finish() {
  if (written_ % 2 != 0) {
    const std::byte pad{0};
    sink_.write({&pad, 1});
  }
  if (expected_bytes_ && *expected_bytes_ == written_) return true;
  if (!sink_.can_patch()) return !expected_bytes_;
  const auto real = sizes_of(written_);
  if (real.is_large() && !reserves_)
    throw zelmora_io::exception_io_data("Far more audio than the length told: no room for the sizes of a large file");
  sink_.patch(0, make_header(real));
  return true;
}

} // namespace zelmora::cli
