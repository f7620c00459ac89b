// The way in which the plug-in itself uses inputs: cue sheets, links and the track-by-track tools open paths through
// it.
#pragma once

#include "frame/input.h"

#include <optional>
#include <string>

namespace zelmora {

/// Set-up for a decoder, handed over by its extended parameter call.
struct decoder_options {
  guid type;
  void* data = nullptr;
  std::size_t size = 0;
};

/// Holds one decoder and the path that it was opened for.
class input_helper {
 public:
  void set_logger(event_logger_ptr logger) { logger_ = std::move(logger); }
  /// Opens through the look-up over all entries and initialises; a decoder for the same path is kept, and only
  /// initialised again.
  void open(std::string_view path, std::uint32_t subsong, std::uint32_t flags, abort_callback& abort,
            const std::optional<decoder_options>& options = std::nullopt);
  void close();
  bool is_open() const noexcept { return static_cast<bool>(decoder_); }
  const std::string& path() const noexcept { return path_; }

  /// The calls below need an open decoder.
  bool run(audio_chunk& chunk, abort_callback& abort);
  void seek(double seconds, abort_callback& abort);
  bool can_seek();
  void get_info(std::uint32_t subsong, file_info& info, abort_callback& abort);
  bool get_dynamic_info(file_info& info, double& time_delta);
  void on_idle(abort_callback& abort);
  input_decoder& decoder();

 private:
  template <class Call>
  auto guarded(Call&& call);

  service_ptr_t<input_decoder> decoder_;
  std::string path_;
  event_logger_ptr logger_;
};

/// `inner`, initialised for its `subsong`, from `start` [s] on for `length` [s]: the decoder of a cue track. The result
/// has the one subsong 0.
service_ptr_t<input_decoder> make_range_decoder(service_ptr_t<input_decoder> inner, std::uint32_t subsong, double start,
                                                double length);

} // namespace zelmora
