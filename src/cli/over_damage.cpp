#include "cli/over_damage.h"

#include "frame/exceptions.h"
#include "frame/input_open.h"

namespace zelmora::cli {

using zelmora_io::exception_io_data;

bool run_over_damage(input_decoder& decoder, audio_chunk& chunk, abort_callback& abort,
                     const std::function<void(const std::exception& damage)>& tell) {
  try {
    return traced::run(decoder, chunk, abort);
  } catch (const exception_io_data& damage) {
    bool goes_on = false;
    try {
      goes_on = traced::run(decoder, chunk, abort);
    } catch (const exception_io_data&) {
      // Nothing can be had behind it.
    }
    if (!goes_on) throw;
    tell(damage);
    return true;
  }
}

} // namespace zelmora::cli
