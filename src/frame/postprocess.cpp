#include "frame/postprocess.h"

#include <algorithm>

namespace zelmora {

void postprocess_queue::clear() {
  queue_.clear();
  end_of_stream_ = false;
  pending_skip_ = 0;
}

void postprocess_queue::stop() {
  clear();
  processors_.clear();
}

void postprocess_queue::start(const file_info& info) {
  stop();
  for (auto& entry : enumerate_services<decode_postprocessor_entry>())
    if (auto instance = entry->instantiate(info)) processors_.push_back(std::move(instance));
}

bool postprocess_queue::run(const run_function& source, audio_chunk& chunk, abort_callback& abort) {
  for (;;) {
    abort.check();
    if (!queue_.empty()) {
      auto& front = queue_.front();
      if (pending_skip_ > 0) process_skip(front, pending_skip_);
      const bool keep = front.get_sample_count() != 0;
      if (keep) chunk.copy(front);
      queue_.pop_front();
      if (keep) return true;
      continue;
    }
    if (end_of_stream_) return false;
    // Into the queue only once it is whole: a failure in between leaves nothing half-filled behind.
    audio_chunk_list fresh(1);
    if (source(fresh.back(), abort))
      queue_.splice(queue_.end(), fresh);
    else
      end_of_stream_ = true;
    std::uint32_t flags = 0;
    if (end_of_stream_) flags |= postprocess_flag_end_of_stream;
    for (auto& processor : processors_)
      if (processor->run(queue_, flags, abort)) flags |= postprocess_flag_altered;
  }
}

void postprocess_queue::seek(const seek_function& source, double seconds, abort_callback& abort) {
  if (seconds < 0) throw zelmora_io::exception_io_data();
  clear();
  double latency = 0;
  for (auto& processor : processors_) {
    latency = std::max(latency, processor->get_latency());
    processor->flush();
  }
  const double target = std::max(seconds - latency, 0.0);
  source(target, abort);
  pending_skip_ = seconds - target;
}

bool postprocess_queue::get_dynamic_info(file_info& info) {
  bool changed = false;
  for (auto& processor : processors_) changed |= processor->get_dynamic_info(info);
  return changed;
}

} // namespace zelmora
