#include "pcm/pcm_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

advconfig_factory<advconfig_integer> tone_rate{{"decoding.toneRate", "Tone/sweep sample rate",
                                                "9FC196E6-6AF4-44E4-BF4A-C625BCD8B2D3"_guid, advconfig_root::decoding},
                                               44100u,
                                               1000u,
                                               1'000'000u};

} // namespace

std::uint64_t get_tone_rate() { return tone_rate->get(); }

} // namespace zelmora
