// Decoding on where a damaged stretch stops a single call.
#pragma once

#include "frame/input.h"

#include <functional>

namespace zelmora::cli {

/// As `input_decoder::run`. What a decoder raises as `exception_io_data` goes to `tell` when the next call goes on
/// behind the damage; otherwise it is raised.
bool run_over_damage(input_decoder& decoder, audio_chunk& chunk, abort_callback& abort,
                     const std::function<void(const std::exception& damage)>& tell);

} // namespace zelmora::cli
