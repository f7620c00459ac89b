#include "codecs/codec_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

advconfig_factory<advconfig_integer> ffmpeg_strict{{"decoding.ffmpeg.strict", "FFmpeg -strict level",
                                                    "19A78342-28DF-46BF-8E81-7258A86FD76D"_guid,
                                                    advconfig_root::decoding},
                                                   4u,
                                                   0u,
                                                   4u};
advconfig_factory<advconfig_string> correction_folders{
    {"decoding.correctionFileFolders", "Additional correction file folders",
     "2F47E028-20C7-459A-9489-AEB475C5C5AF"_guid, advconfig_root::decoding},
    ""};

} // namespace

std::uint64_t get_ffmpeg_strict_level() { return ffmpeg_strict->get(); }
std::string get_correction_file_folders() { return correction_folders->get(); }

} // namespace zelmora
