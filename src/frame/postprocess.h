// Decode post-processing: what comes out of a decoder may itself be a coded stream (DTS in 16-bit PCM). Processors see
// the chunks in a queue before the host does.
#pragma once

#include "frame/input.h"

#include <functional>
#include <list>
#include <vector>

namespace zelmora {

using audio_chunk_list = std::list<audio_chunk_impl>;

enum postprocess_flags : std::uint32_t {
  postprocess_flag_end_of_stream = 1, ///< no chunk will follow
  postprocess_flag_altered = 2,       ///< another processor has already replaced the audio
};

/// The processing of one stream.
class decode_postprocessor_instance : public service_base {
 public:
  using interface_type = decode_postprocessor_instance;
  using interface_parent = service_base;
  static constexpr guid class_guid = "91D5A3B0-5C5E-4A0D-9A50-2F6F4F6C1F70"_guid;

  /// Replaces, holds back or passes on chunks; true when the list was altered.
  virtual bool run(audio_chunk_list& chunks, std::uint32_t flags, abort_callback& abort) = 0;
  virtual bool get_dynamic_info(file_info& info) = 0;
  /// Forgets what is held back, before a seek.
  virtual void flush() = 0;
  /// How much audio before a position the processor must see so that its output is exact from there on [s].
  virtual double get_latency() = 0;
};

class decode_postprocessor_entry : public service_base {
 public:
  using interface_type = decode_postprocessor_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "91D5A3B0-5C5E-4A0D-9A50-2F6F4F6C1F71"_guid;

  /// An instance for a stream with these technical fields, or null when the processor does not want it.
  virtual service_ptr_t<decode_postprocessor_instance> instantiate(const file_info& info) = 0;
};

/// The queue between a format and the host. Without processors `run` and `seek` go straight to the format.
class postprocess_queue {
 public:
  using run_function = std::function<bool(audio_chunk&, abort_callback&)>;
  using seek_function = std::function<void(double, abort_callback&)>;

  /// Asks every registered entry for an instance; an earlier stream's queue is dropped.
  void start(const file_info& info);
  /// No post-processing for this stream.
  void stop();
  bool is_active() const noexcept { return !processors_.empty(); }

  bool run(const run_function& source, audio_chunk& chunk, abort_callback& abort);
  void seek(const seek_function& source, double seconds, abort_callback& abort);
  bool get_dynamic_info(file_info& info);

 private:
  void clear();

  std::vector<service_ptr_t<decode_postprocessor_instance>> processors_;
  audio_chunk_list queue_;
  bool end_of_stream_ = false;
  double pending_skip_ = 0; ///< [s]
};

} // namespace zelmora
