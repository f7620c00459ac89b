#include "frame/input_helper.h"

#include "frame/input_open.h"

namespace zelmora {

void input_helper::close() {
  decoder_.release();
  path_.clear();
}

/// A decoder that has failed is good for nothing more: the next `open` makes a new one.
template <class Call>
auto input_helper::guarded(Call&& call) {
  try {
    return call(decoder());
  } catch (...) {
    close();
    throw;
  }
}

void input_helper::open(std::string_view path, std::uint32_t subsong, std::uint32_t flags, abort_callback& abort,
                        const std::optional<decoder_options>& options) {
  abort.check();
  if (decoder_ && path_ == path) {
    if (auto revised = service_cast<input_decoder_v2>(decoder_.get()); revised && logger_) revised->set_logger(logger_);
  } else {
    close();
    decoder_ = input_entry::g_open_for_decoding(nullptr, path, logger_, abort);
    path_ = path;
    if (auto revised = service_cast<input_decoder_v3>(decoder_.get()); revised && options)
      revised->extended_param(options->type, options->data, options->size);
  }
  guarded([&](input_decoder& decoder) { traced::initialize(decoder, subsong, flags, abort); });
}

input_decoder& input_helper::decoder() {
  if (!decoder_) uBugCheck("an input helper was used before it was opened");
  return *decoder_;
}

bool input_helper::run(audio_chunk& chunk, abort_callback& abort) {
  return guarded([&](input_decoder& decoder) { return traced::run(decoder, chunk, abort); });
}
void input_helper::seek(double seconds, abort_callback& abort) {
  guarded([&](input_decoder& decoder) { traced::seek(decoder, seconds, abort); });
}
bool input_helper::can_seek() { return decoder().can_seek(); }
void input_helper::get_info(std::uint32_t subsong, file_info& info, abort_callback& abort) {
  traced::get_info(decoder(), subsong, info, abort);
}
bool input_helper::get_dynamic_info(file_info& info, double& time_delta) {
  return traced::get_dynamic_info(decoder(), info, time_delta);
}
void input_helper::on_idle(abort_callback& abort) { traced::on_idle(decoder(), abort); }

} // namespace zelmora
