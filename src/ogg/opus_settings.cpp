#include "ogg/opus_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

constexpr guid opus_branch = "05FBE71F-B112-4ED4-A577-008A8044A529"_guid;
constexpr guid header_gain_branch = "AFF0491A-C910-48BB-9017-8945A815E3B8"_guid;

advconfig_factory<advconfig_branch> opus_heading{{"", "Opus", opus_branch, advconfig_root::decoding}};
advconfig_factory<advconfig_branch> header_gain_heading{{"", "Header gain", header_gain_branch, opus_branch}};
advconfig_factory<advconfig_checkbox> use_track_gain{{"decoding.opus.gain.useTrackGain", "Use Track Gain",
                                                      "FE24B3BF-6EC1-4C2D-8183-7AAB1C6F70C1"_guid, header_gain_branch},
                                                     false,
                                                     is_radio::yes};
advconfig_factory<advconfig_checkbox> use_album_gain{{"decoding.opus.gain.useAlbumGain", "Use Album Gain",
                                                      "AB6D8DE6-C3E4-45BE-8777-52AFE014407D"_guid, header_gain_branch,
                                                      1},
                                                     true,
                                                     is_radio::yes};
advconfig_factory<advconfig_checkbox> leave_null{
    {"decoding.opus.gain.null", "Leave null", "9A2FA148-D762-4035-98FE-7C838B1534F6"_guid, header_gain_branch, 2},
    false,
    is_radio::yes};

} // namespace

opus_header_gain get_opus_header_gain() {
  if (use_track_gain->get()) return opus_header_gain::track_gain;
  if (use_album_gain->get()) return opus_header_gain::album_gain;
  if (leave_null->get()) return opus_header_gain::leave_null;
  return opus_header_gain::album_gain;
}

} // namespace zelmora
