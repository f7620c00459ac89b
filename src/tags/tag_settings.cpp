#include "tags/tag_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

constexpr guid soundcheck_branch = "40BAADDF-546F-4930-B0C8-5A1091478527"_guid;
constexpr guid soundcheck_write_branch = "8481DC0A-7E5E-4E1A-970A-12BAC86E6D45"_guid;
constexpr guid soundcheck_level_branch = "6F1FBD70-9F7B-48EE-A6DD-E0F8211A2EED"_guid;
constexpr guid mp3_branch = "562AD2EF-0775-4055-AA74-E115E0670411"_guid;
constexpr guid mp3_scheme_branch = "5470771A-7037-474E-8D8E-9B3DC284DFEF"_guid;
constexpr guid id3_branch = "6F0B4335-9D53-41F0-8748-79946ADB63DA"_guid;
constexpr guid vorbis_branch = "E77ACB52-EF7B-4BBC-9363-2F2144B93037"_guid;
constexpr guid vorbis_mode_branch = "589BD59F-1D6B-4F02-A3BC-5442E188BC6E"_guid;

advconfig_factory<advconfig_branch> soundcheck_heading{{"", "SoundCheck", soundcheck_branch, advconfig_root::tagging}};
advconfig_factory<advconfig_branch> soundcheck_write_heading{
    {"",
     "Automatically write when writing ReplayGain (applies to: MP4/M4A, MP3, all formats using ID3v2 tags or MP4 "
     "container)",
     soundcheck_write_branch, soundcheck_branch}};
advconfig_factory<advconfig_branch> soundcheck_level_heading{
    {"", "SoundCheck target loudness", soundcheck_level_branch, soundcheck_branch, 1}};
advconfig_factory<advconfig_branch> mp3_heading{{"", "MP3", mp3_branch, advconfig_root::tagging}};
advconfig_factory<advconfig_branch> mp3_scheme_heading{
    {"", "Tag writing scheme for untagged files", mp3_scheme_branch, mp3_branch}};
advconfig_factory<advconfig_branch> id3_heading{{"", "ID3v2 revision and quirks", id3_branch, mp3_branch}};
advconfig_factory<advconfig_branch> vorbis_heading{{"", "Vorbis & FLAC", vorbis_branch, advconfig_root::tagging}};
advconfig_factory<advconfig_branch> vorbis_mode_heading{
    {"", "Metadata writing mode:", vorbis_mode_branch, vorbis_branch}};
advconfig_factory<advconfig_checkbox> soundcheck_disabled{{"tagging.soundCheck.disabled", "Do not write",
                                                           "3EC07D05-FCA1-4857-A456-02A47E7B615C"_guid,
                                                           soundcheck_write_branch},
                                                          true,
                                                          is_radio::yes};
advconfig_factory<advconfig_checkbox> soundcheck_track{{"tagging.soundCheck.trackGain", "Write Track Gain",
                                                        "4C910F90-299E-4F59-8B3E-C325F80C3DEF"_guid,
                                                        soundcheck_write_branch, 1},
                                                       false,
                                                       is_radio::yes};
advconfig_factory<advconfig_checkbox> soundcheck_album{{"tagging.soundCheck.albumGain", "Write Album Gain",
                                                        "B8B1021F-1CC6-4265-9833-D23EDF9CADB8"_guid,
                                                        soundcheck_write_branch, 2},
                                                       false,
                                                       is_radio::yes};
advconfig_factory<advconfig_checkbox> level_itunes{{"tagging.soundCheck.level.iTunes", "iTunes (-16dB LUFS)",
                                                    "2E157CB6-5724-4B27-8CB1-852CFAB9D35D"_guid,
                                                    soundcheck_level_branch},
                                                   true,
                                                   is_radio::yes};
advconfig_factory<advconfig_checkbox> level_replaygain{
    {"tagging.soundCheck.level.replayGain", "ReplayGain (-18dB LUFS)", "1D52ECCE-0813-4045-9364-F4B36AE50B36"_guid,
     soundcheck_level_branch, 1},
    false,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> scheme_id3v2_id3v1{
    {"tagging.mp3.id3v2+id3v1", "ID3v2 + ID3v1", "5E55BD2C-2FBA-4444-94EE-730C5058B236"_guid, mp3_scheme_branch},
    true,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> scheme_id3v2{
    {"tagging.mp3.id3v2", "ID3v2", "4E9A734E-78C9-4E59-9E9C-CD57D64966C2"_guid, mp3_scheme_branch},
    false,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> scheme_ape_id3v1{
    {"tagging.mp3.ape+id3v1", "APE + ID3v1", "C279F816-5269-4E5E-B951-D6716F4F107C"_guid, mp3_scheme_branch},
    false,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> scheme_ape{
    {"tagging.mp3.ape", "APE", "0F738748-78A9-4BF0-B321-4A67CD480278"_guid, mp3_scheme_branch}, false, is_radio::yes};
advconfig_factory<advconfig_checkbox> write_2_3{{"tagging.id3.write-2.3", "Write ID3v2.3 tags (more compatible)",
                                                 "840F2975-DC5B-4A7B-8CC2-E63265EB26A9"_guid, id3_branch},
                                                true,
                                                is_radio::yes};
advconfig_factory<advconfig_checkbox> write_2_4{{"tagging.id3.write-2.4", "Write ID3v2.4 tags (less compatible)",
                                                 "9113B875-B992-450C-9E13-735582B7DB50"_guid, id3_branch},
                                                false,
                                                is_radio::yes};
advconfig_factory<advconfig_checkbox> use_padding{
    {"tagging.id3.usePadding", "Use padding (faster tag updates, may be incompatible with buggy software)",
     "1CC0DF44-147B-4ABD-AEEF-1B5A49943AF6"_guid, id3_branch},
    true,
    is_radio::no};
advconfig_factory<advconfig_checkbox> tpe2_album_artist{{"tagging.id3.tpe2-album-artist",
                                                         "Map TPE2 to Album Artist (more compatible)",
                                                         "D3421204-6CD8-40A4-8AC2-474D536218B5"_guid, id3_branch},
                                                        true,
                                                        is_radio::no};
advconfig_factory<advconfig_checkbox> date_compat{{"tagging.id3.dateCompat",
                                                   "Write compatible date frames (non-standard-compliant)",
                                                   "FD8C1891-8068-489E-871E-68EB9381F854"_guid, id3_branch},
                                                  true,
                                                  is_radio::no};
advconfig_factory<advconfig_checkbox> rating_txxx{{"tagging.id3.ratingTXXX", "Write rating as TXXX (less compatible)",
                                                   "3B6E2251-23AC-42C2-8EC8-7B62268E82EB"_guid, id3_branch},
                                                  false,
                                                  is_radio::no};
advconfig_factory<advconfig_checkbox> retain_gapless{{"tagging.id3.retainAppleGapless",
                                                      "Retain Apple Gapless (iTunSMPB) when asked to remove all tags",
                                                      "AEC621FA-2B12-4AD8-A54E-B6FBEA5F653F"_guid, id3_branch},
                                                     true,
                                                     is_radio::no};
advconfig_factory<advconfig_checkbox> vorbis_compatible{
    {"tagging.vorbisComment.compatible", "More compatible with various software - ALBUMARTIST, TRACKTOTAL, DISCTOTAL",
     "C65E9CB5-841A-4898-AFC1-6BFCC20DD5FF"_guid, vorbis_mode_branch},
    true,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> vorbis_legacy{
    {"tagging.vorbisComment.legacy", "Compatible with old zelmora versions - ALBUM ARTIST, TOTALTRACKS, TOTALDISCS",
     "72926A51-B9AF-485A-9F13-9796F82FC729"_guid, vorbis_mode_branch, 1},
    false,
    is_radio::yes};

} // namespace

soundcheck_source get_soundcheck_source() {
  if (soundcheck_disabled->get()) return soundcheck_source::disabled;
  if (soundcheck_track->get()) return soundcheck_source::track_gain;
  if (soundcheck_album->get()) return soundcheck_source::album_gain;
  return soundcheck_source::disabled;
}

soundcheck_target get_soundcheck_target() {
  return level_itunes->get() || !level_replaygain->get() ? soundcheck_target::itunes : soundcheck_target::replaygain;
}

mp3_tag_scheme get_mp3_tag_scheme() {
  if (scheme_id3v2_id3v1->get()) return mp3_tag_scheme::id3v2_id3v1;
  if (scheme_id3v2->get()) return mp3_tag_scheme::id3v2;
  if (scheme_ape_id3v1->get()) return mp3_tag_scheme::ape_id3v1;
  if (scheme_ape->get()) return mp3_tag_scheme::ape;
  return mp3_tag_scheme::id3v2_id3v1;
}

unsigned get_id3v2_write_version() { return write_2_3->get() || !write_2_4->get() ? 3 : 4; }
bool id3v2_uses_padding() { return use_padding->get(); }
bool id3v2_maps_tpe2_to_album_artist() { return tpe2_album_artist->get(); }
bool id3v2_writes_compatible_dates() { return date_compat->get(); }
bool id3v2_writes_rating_as_txxx() { return rating_txxx->get(); }
bool id3v2_retains_apple_gapless() { return retain_gapless->get(); }

vorbis_comment_naming get_vorbis_comment_naming() {
  return vorbis_compatible->get() || !vorbis_legacy->get() ? vorbis_comment_naming::compatible
                                                           : vorbis_comment_naming::legacy;
}

} // namespace zelmora
