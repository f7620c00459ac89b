// SoundCheck: the loudness value that iTunes keeps in the comment "iTunNORM", made from ReplayGain and read back.
//
// The comment holds ten words: the level at reference 1000 twice (left, right), at reference 2500 twice, and six that
// iTunes takes from the samples, for which constants stand.
#pragma once

#include "frame/file_info.h"
#include "tags/tag_settings.h"

#include <array>
#include <string>
#include <string_view>

namespace zelmora {

/// The comment's description in ID3v2, and the field that it would be.
inline constexpr std::string_view soundcheck_comment = "iTunNORM";
inline constexpr std::string_view soundcheck_comment_field = "COMMENT iTunNORM";

/// Technical fields.
namespace soundcheck_field {
inline constexpr std::string_view raw = "iTunNORM";               ///< the comment's text
inline constexpr std::string_view gain = "Apple SoundCheck Gain"; ///< for display
// Requests of the commands, which never reach a file.
inline constexpr std::string_view clear = "Apple_SoundCheck_clear"; ///< "1"
inline constexpr std::string_view user_option =
    "Apple_SoundCheck_user_option"; ///< "1": from the track gain, "2": from the album gain
} // namespace soundcheck_field

/// The comment's text for `gains`: each word in hexadecimal behind a blank. Where the gain of `source` is unset the
/// other one stands in; with `disabled`, or without a gain, the text is empty. A gain of 0 dB gives levels of 1000 and
/// 2500 with `soundcheck_target::replaygain`, 631 and 1577 with `itunes`.
std::string compute_soundcheck(const replaygain_info& gains, soundcheck_source source, soundcheck_target target);
/// For the configured target.
std::string compute_soundcheck(const replaygain_info& gains, soundcheck_source source);

/// The gains that the first four words stand for [dB]; infinite where a level is 0. Words have eight digits, as iTunes
/// writes them: what has not is no word. Fewer than ten words raise `exception_io_data`.
std::array<double, 4> parse_soundcheck(std::string_view text);

/// Puts `text` and the gain for display into the technical fields; a text that can't be parsed leaves `info` alone.
void import_soundcheck(std::string_view text, file_info& info);

} // namespace zelmora
