// What a track is: length, multi-value metadata, single-value technical fields, ReplayGain.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// Four floats as formats store them. Unset is marked by value.
struct replaygain_info {
  static constexpr float gain_unset = -1000.0f; ///< [dB]
  static constexpr float peak_unset = -1.0f;    ///< 1.0 is full scale

  float album_gain = gain_unset;
  float track_gain = gain_unset;
  float album_peak = peak_unset;
  float track_peak = peak_unset;

  bool is_album_gain_set() const { return album_gain != gain_unset; }
  bool is_track_gain_set() const { return track_gain != gain_unset; }
  bool is_album_peak_set() const { return album_peak != peak_unset; }
  bool is_track_peak_set() const { return track_peak != peak_unset; }
  friend bool operator==(const replaygain_info&, const replaygain_info&) = default;
};

/// Names of technical fields that all inputs use.
namespace info_field {
inline constexpr std::string_view samplerate = "samplerate";       ///< [Hz]
inline constexpr std::string_view channels = "channels";           ///< count
inline constexpr std::string_view bitspersample = "bitspersample"; ///< the container's sample width
inline constexpr std::string_view decoded_bitspersample =
    "decoded_bitspersample";                                                   ///< width of what a stream decodes to
inline constexpr std::string_view bitspersample_extra = "bitspersample_extra"; ///< "fixed-point", "floating-point"
inline constexpr std::string_view bitrate = "bitrate";                         ///< [kbit/s] of the whole file
inline constexpr std::string_view bitrate_dynamic = "bitrate_dynamic";         ///< [kbit/s] of the last stretch
inline constexpr std::string_view codec = "codec";                             ///< display name of the format
inline constexpr std::string_view codec_profile = "codec_profile";             ///< the variant
inline constexpr std::string_view encoding = "encoding";                       ///< "lossless", "lossy"
inline constexpr std::string_view tagtype = "tagtype";                         ///< the tag kinds found, joined by "|"
inline constexpr std::string_view channel_mask = "WAVEFORMATEXTENSIBLE_CHANNEL_MASK";
} // namespace info_field

/// The metadata of one track. Field names compare without case; fields keep their order. One thread at a time.
class file_info {
 public:
  /// What the look-ups answer when there is no such field.
  static constexpr std::size_t npos = std::numeric_limits<std::size_t>::max();
  static constexpr double length_unknown = -1.0;

  virtual ~file_info() = default;

  /// [s]; below 0 when unknown.
  virtual double get_length() const = 0;
  virtual void set_length(double seconds) = 0;
  virtual replaygain_info get_replaygain() const = 0;
  virtual void set_replaygain(const replaygain_info& gains) = 0;

  virtual std::size_t meta_get_count() const = 0;
  virtual std::size_t meta_find(std::string_view name) const = 0;
  virtual const std::string& meta_enum_name(std::size_t field) const = 0;
  virtual std::size_t meta_enum_value_count(std::size_t field) const = 0;
  virtual const std::string& meta_enum_value(std::size_t field, std::size_t n) const = 0;
  /// Appends a value to the field, which is made when it isn't there.
  virtual void meta_add(std::string_view name, std::string_view value) = 0;
  /// Makes `value` the field's only one, in the field's old place.
  virtual void meta_set(std::string_view name, std::string_view value) = 0;
  virtual void meta_remove_field(std::string_view name) = 0;
  virtual void meta_remove_all() = 0;

  virtual std::size_t info_get_count() const = 0;
  virtual std::size_t info_find(std::string_view name) const = 0;
  virtual const std::string& info_enum_name(std::size_t field) const = 0;
  virtual const std::string& info_enum_value(std::size_t field) const = 0;
  virtual void info_set(std::string_view name, std::string_view value) = 0;
  virtual void info_remove(std::string_view name) = 0;

  /// Value `n` of the field, or null.
  const std::string* meta_get(std::string_view name, std::size_t n = 0) const;
  /// The field's value, or null.
  const std::string* info_get(std::string_view name) const;
  void info_set_int(std::string_view name, std::int64_t value);
  /// The value when all of it is an integer; else 0.
  std::int64_t info_get_int(std::string_view name) const;

  /// The masks 0, 3 and 4 say no more than the channel count: they remove the field. Others become "0x" and digits.
  void info_set_channel_mask(std::uint32_t mask);
  /// "samplerate", "channels", and the mask when it has as many bits as there are channels.
  void info_set_wfx(std::uint32_t rate, std::uint32_t channels, std::uint32_t mask);
  struct wfx {
    std::uint32_t rate = 0;     ///< [Hz]; 0 when not told
    std::uint32_t channels = 0; ///< 0 when not told
    std::uint32_t mask = 0;     ///< always fits the channel count
  };
  wfx info_get_wfx() const;
  /// Width of decoded samples [bits]: "decoded_bitspersample" unless that is missing or 0, else "bitspersample", or 0.
  std::int64_t info_get_decoded_bps() const;
  /// As `info_get_decoded_bps` for those who compute with it: 1 to 256, or 0.
  unsigned info_get_usable_bps() const;

  /// Whether the metadata fields of both hold the same values; the order of the fields doesn't matter.
  bool has_same_meta(const file_info& other) const;
  void copy_meta(const file_info& other);
  void copy(const file_info& other);

  /// Not empty, bytes from 0x20 to 0x7E, none of "=", "%", "<", ">".
  static bool is_valid_field_name(std::string_view name);

 protected:
  file_info() = default;
  file_info(const file_info&) = default;
  file_info& operator=(const file_info&) = default;
};

/// The plain implementation. Look-ups stay fast with many fields: beyond a few names it keeps an index.
class file_info_impl final : public file_info {
 public:
  file_info_impl();
  file_info_impl(const file_info_impl& other);
  explicit file_info_impl(const file_info& other);
  file_info_impl(file_info_impl&&) noexcept;
  file_info_impl& operator=(file_info_impl other) noexcept;
  ~file_info_impl() override;

  double get_length() const override { return length_; }
  void set_length(double seconds) override { length_ = seconds; }
  replaygain_info get_replaygain() const override { return gains_; }
  void set_replaygain(const replaygain_info& gains) override { gains_ = gains; }

  std::size_t meta_get_count() const override;
  std::size_t meta_find(std::string_view name) const override;
  const std::string& meta_enum_name(std::size_t field) const override;
  std::size_t meta_enum_value_count(std::size_t field) const override;
  const std::string& meta_enum_value(std::size_t field, std::size_t n) const override;
  void meta_add(std::string_view name, std::string_view value) override;
  void meta_set(std::string_view name, std::string_view value) override;
  void meta_remove_field(std::string_view name) override;
  void meta_remove_all() override;
  std::size_t info_get_count() const override;
  std::size_t info_find(std::string_view name) const override;
  const std::string& info_enum_name(std::size_t field) const override;
  const std::string& info_enum_value(std::size_t field) const override;
  void info_set(std::string_view name, std::string_view value) override;
  void info_remove(std::string_view name) override;

 private:
  struct meta_field {
    std::string name;
    std::vector<std::string> values;
  };
  struct technical_field {
    std::string name;
    std::string value;
  };
  struct name_index;

  std::size_t meta_find_or_add(std::string_view name);

  double length_ = length_unknown;
  replaygain_info gains_;
  std::vector<meta_field> meta_;
  std::vector<technical_field> info_;
  mutable std::unique_ptr<name_index> meta_index_; ///< built at the first look-up among many fields
};

} // namespace zelmora
