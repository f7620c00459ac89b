// Decoders of the packets that containers hold, and how a container finds the one for its stream.
//
// A container describes a stream by four values: who it is (`owner`), a number, and bytes or a record whose meaning the
// owner fixes. Every registered entry is asked whether it takes such a stream.
#pragma once

#include "frame/abort_callback.h"
#include "frame/audio_chunk.h"
#include "frame/exceptions.h"
#include "frame/file_info.h"
#include "frame/service.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace zelmora {

/// `param2` of `owner_matroska`; any other size than that of this record is no setup. Rates are those of the
/// TrackEntry, rounded.
struct matroska_setup {
  const char* codec_id;
  std::uint32_t sample_rate; ///< [Hz]
  std::uint32_t sample_rate_output;
  std::uint32_t channels;
  std::uint32_t codec_private_size; ///< [bytes]
  const void* codec_private;

  std::string_view codec() const { return codec_id == nullptr ? std::string_view() : codec_id; }
  std::span<const std::byte> private_data() const {
    if (codec_private == nullptr) return {};
    return {static_cast<const std::byte*>(codec_private), codec_private_size};
  }
};

/// `param2` of `owner_ogg`, with room for what single formats add.
struct ogg_setup {
  const void* first_packet;
  std::size_t first_packet_size; ///< [bytes]
  std::size_t reserved[2];
};

class packet_decoder : public service_base {
 public:
  using interface_type = packet_decoder;
  using interface_parent = service_base;
  static constexpr guid class_guid = "7A1F7B52-6F0C-4E1E-9B7E-43E0D1C59A10"_guid;

  // Owners: what stands in `param1`, and in `param2`.
  static constexpr guid owner_mp4 = "30F95BEB-FDF4-4A75-B597-60CAF93B39C4"_guid; ///< object type; specific info (esds)
  static constexpr guid owner_matroska = "5C2DE804-EAEE-4B8E-8C14-9207A2549BBE"_guid;   ///< -; `matroska_setup`
  static constexpr guid owner_adts = "AF5B7CB0-A08E-404A-A3C0-5C5EA1A8A05C"_guid;       ///< -; the first frame's bytes
  static constexpr guid owner_adif = "F72D2EAE-835C-4DFB-97C6-624343EFAFB0"_guid;       ///< -; the header
  static constexpr guid owner_mp4_ac3 = "62263199-48C2-4777-B33A-87ED161A1630"_guid;    ///< -; -
  static constexpr guid owner_mp4_eac3 = "AE6325BE-6C65-4B8F-B60D-5C803763BFB5"_guid;   ///< -; -
  static constexpr guid owner_mp4_alac = "8F450CB3-A083-4B83-8D85-ADCE5EA6D57F"_guid;   ///< -; version, flags, config
  static constexpr guid owner_mp4_amr_nb = "40017871-50A9-48B6-BF60-BD181A227F9B"_guid; ///< -; -
  static constexpr guid owner_mp4_amr_wb = "2E729EA0-6BEB-4392-BF24-75C69B60166D"_guid; ///< -; -
  static constexpr guid owner_mp4_pcm_be = "44A22748-5D63-4DAF-9563-0AB5486E7E0D"_guid; ///< -; -
  static constexpr guid owner_mp4_pcm_le = "59F38645-BCE1-4BA9-AAE4-FB885FC4A858"_guid; ///< -; -
  static constexpr guid owner_mp4_flac = "73E5E053-662F-4A43-8DF2-09F977AC2D38"_guid;   ///< -; metadata blocks (dfLa)
  static constexpr guid owner_mp4_opus = "595FF6B0-F860-43CF-A54C-6D8D29E12F62"_guid;   ///< -; OpusHead
  static constexpr guid owner_ogg = "8FA27457-A021-43B9-AD20-A796DB947CD1"_guid;        ///< -; `ogg_setup`
  static constexpr guid owner_mp3 = "7B741A69-1AC7-440D-A01D-88536DD4DE1C"_guid;        ///< -; -
  static constexpr guid owner_mp2 = "17B300A0-3110-4400-A434-C18FBEEABA81"_guid;        ///< -; -
  static constexpr guid owner_mp1 = "1C068E5E-DD65-4639-BF85-78B297C8FFAC"_guid;        ///< -; -

  /// The packets begin at the stream's beginning.
  static constexpr guid property_decode_from_start = "985B25A5-5E79-4DDA-8BDD-53B42576E22D"_guid;
  /// `ptr`, `size`: the raw sample description.
  static constexpr guid property_mp4_sample_description = "E8504271-AEC0-4805-BB69-71CCA3BC02DD"_guid;
  /// With value 0: answers how many zero bytes are wanted behind each packet. With another value: the caller has so
  /// many.
  static constexpr guid property_input_padding = "E2C734FD-D4C2-467E-B5D3-4C13D9BD300E"_guid;
  /// What the container says of the stream, for streams that don't say so themselves.
  static constexpr guid property_sample_rate = "BC73F9FC-0107-480E-BF0E-BE58AF7AF328"_guid;
  static constexpr guid property_bits_per_sample = "E5D19AAD-931B-48AC-AA6E-95E2C23BEC37"_guid;
  static constexpr guid property_channels = "1AFA1145-E774-4C26-91D6-3F5DD61E260E"_guid;
  /// Rate and channels have been told.
  static constexpr guid property_sample_rate_final = "CC2741CF-B57F-43A7-83C9-01C8628E6FDC"_guid;

  /// Unknown properties are taken and answered with 0.
  virtual std::uint64_t set_stream_property(const guid& property, std::uint64_t value, const void* ptr,
                                            std::size_t size) = 0;
  virtual void get_info(file_info& info) = 0;
  /// Packets before a seek point that have to be decoded and thrown away.
  virtual unsigned get_max_frame_dependency() = 0;
  /// The same in seconds [s].
  virtual double get_max_frame_dependency_time() = 0;
  virtual void reset_after_seek() = 0;
  /// Decodes one packet; `chunk` may be empty afterwards. A corrupt packet raises `exception_io_data`, after which
  /// decoding may go on.
  virtual void decode(const void* data, std::size_t size, audio_chunk& chunk, abort_callback& abort) = 0;
  virtual bool analyze_first_frame_supported() = 0;
  /// Learns the stream's parameters from a first packet; `reset_after_seek` follows by itself.
  virtual void analyze_first_frame(const void* data, std::size_t size, abort_callback& abort) = 0;

  /// Opens a decoder for the stream: the first entry that takes it and opens; those that would rather leave it to
  /// others come last. Raises what the last of them raised as `exception_io_data`, or a bare one when no entry takes
  /// it.
  static service_ptr_t<packet_decoder> g_open(bool decode, const guid& owner, std::uint32_t param1, const void* param2,
                                              std::size_t param2size, abort_callback& abort);
};
using packet_decoder_ptr = service_ptr_t<packet_decoder>;

class packet_decoder_entry : public service_base {
 public:
  using interface_type = packet_decoder_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "53006A71-C03C-4C38-822F-9A34A5655095"_guid;

  /// Raises nothing, whatever the data.
  virtual bool is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t param2size) = 0;
  /// With `decode` false only `get_info` is asked for.
  virtual void open(packet_decoder_ptr& result, bool decode, const guid& owner, std::uint32_t param1,
                    const void* param2, std::size_t param2size, abort_callback& abort) = 0;
};

/// An entry that may know somebody better.
class packet_decoder_entry_deferring : public packet_decoder_entry {
 public:
  using interface_type = packet_decoder_entry_deferring;
  using interface_parent = packet_decoder_entry;
  static constexpr guid class_guid = "C20940DC-8632-414A-BCF5-415DB77CF9BA"_guid;

  /// Whether another decoder is to be tried first. Raises nothing.
  virtual bool is_deferred_setup(const guid& owner, std::uint32_t param1, const void* param2,
                                 std::size_t param2size) = 0;
};

/// The setup of a Matroska stream; none for another owner or a record of another size.
std::optional<matroska_setup> get_matroska_setup(const guid& owner, const void* param2, std::size_t param2size);
/// The first packet of an Ogg stream, likewise.
std::optional<std::span<const std::byte>> get_ogg_first_packet(const guid& owner, const void* param2,
                                                               std::size_t param2size);

/// The WAVEFORMATEX record of a Matroska stream of "A_MS/ACM"; empty for all others.
std::span<const std::byte> get_matroska_wave_record(const guid& owner, const void* param2, std::size_t param2size);

/// `param2` as bytes, for the owners that pass such.
inline std::span<const std::byte> setup_bytes(const void* param2, std::size_t size) {
  return param2 == nullptr ? std::span<const std::byte>() : std::span(static_cast<const std::byte*>(param2), size);
}

/// An entry over a decoder class `T`, which has static `g_is_our_setup(owner, param1, param2, size)`, and
/// `open(decode, owner, param1, param2, size, abort)`.
template <class T>
class packet_decoder_entry_impl : public packet_decoder_entry {
 public:
  bool is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) override {
    return T::g_is_our_setup(owner, param1, param2, size);
  }
  void open(packet_decoder_ptr& result, bool decode, const guid& owner, std::uint32_t param1, const void* param2,
            std::size_t size, abort_callback& abort) override {
    abort.check();
    const auto decoder = service_new<T>();
    decoder->open(decode, owner, param1, param2, size, abort);
    result = decoder;
  }
};

/// The same for a class that also has static `g_is_deferred_setup`.
template <class T>
class packet_decoder_entry_deferring_impl : public packet_decoder_entry_deferring {
 public:
  bool is_our_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) override {
    return plain_.is_our_setup(owner, param1, param2, size);
  }
  void open(packet_decoder_ptr& result, bool decode, const guid& owner, std::uint32_t param1, const void* param2,
            std::size_t size, abort_callback& abort) override {
    plain_.open(result, decode, owner, param1, param2, size, abort);
  }
  bool is_deferred_setup(const guid& owner, std::uint32_t param1, const void* param2, std::size_t size) override {
    return T::g_is_deferred_setup(owner, param1, param2, size);
  }

 private:
  service_impl_single_t<packet_decoder_entry_impl<T>> plain_;
};

template <class T>
using packet_decoder_factory_t = service_factory_single_t<packet_decoder_entry_impl<T>, packet_decoder_entry>;
template <class T>
using packet_decoder_deferring_factory_t =
    service_factory_single_t<packet_decoder_entry_deferring_impl<T>, packet_decoder_entry>;

} // namespace zelmora
