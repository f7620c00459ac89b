// Settings of the tag engine. Each getter reads the setting as it stands now.
#pragma once

namespace zelmora {

/// What goes into iTunNORM when ReplayGain is written.
enum class soundcheck_source { disabled, track_gain, album_gain };
soundcheck_source get_soundcheck_source();
/// Loudness at which a SoundCheck value means "unchanged".
enum class soundcheck_target { itunes, replaygain };
soundcheck_target get_soundcheck_target();

/// Tag kinds that an MP3 file without tags gets.
enum class mp3_tag_scheme { id3v2_id3v1, id3v2, ape_id3v1, ape };
mp3_tag_scheme get_mp3_tag_scheme();

/// ID3v2 revision for new tags: 3 or 4.
unsigned get_id3v2_write_version();
bool id3v2_uses_padding();
bool id3v2_maps_tpe2_to_album_artist();
bool id3v2_writes_compatible_dates();
bool id3v2_writes_rating_as_txxx();
bool id3v2_retains_apple_gapless();

/// Names in which album artist and totals go into Vorbis comments.
enum class vorbis_comment_naming { compatible, legacy };
vorbis_comment_naming get_vorbis_comment_naming();

} // namespace zelmora
