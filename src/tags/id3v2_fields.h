// What ID3v2 frames are called as fields: one table for both directions.
// Sources: id3.org, "ID3 tag version 2.3.0", "ID3 tag version 2.4.0 - Native Frames"; TSO2, TSOC, TCMP, GRP1, MVNM and
// MVIN are what iTunes writes.
#pragma once

#include "frame/bytes.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace zelmora {

/// How a frame becomes values.
enum class id3v2_reading : std::uint8_t {
  one,       ///< the first string
  many,      ///< every string; before 2.4 a lone string is split at " / "
  pair,      ///< split at "/" into two fields
  year,      ///< part of "date"
  day_month, ///< part of "date"
  genre,
  described, ///< the second string; the first is a description
  comment,   ///< the description is part of the field's name
  free_text, ///< the description is the field's name
  free_url,
  url, ///< the whole payload
  rating,
};

/// How values become a new frame.
enum class id3v2_writing : std::uint8_t {
  none, ///< through another row or not at all
  one,
  many,
  pair,
  date,           ///< a time stamp, or two around "/"
  date_before_v4, ///< year, and day with month
  year_before_v4, ///< four digits
  genre,
  described,
  url,
  rating,
};

/// The versions whose documents have the frame.
enum class id3v2_versions : std::uint8_t { all, before_v4, v4 };

struct id3v2_field_row {
  std::uint32_t id;
  std::string_view field;
  id3v2_reading reading;
  id3v2_writing writing;
  id3v2_versions written_in = id3v2_versions::all;
  /// The versions in which the frame says what it should.
  id3v2_versions proper_in = id3v2_versions::all;
  std::string_view second_field = {}; ///< of a pair
};

namespace id3v2_table {
using enum id3v2_versions;
using r = id3v2_reading;
using w = id3v2_writing;

/// In the order in which new frames are written.
inline constexpr std::array rows{
    id3v2_field_row{fourcc("TIT1"), "grouping", r::many, w::many},
    id3v2_field_row{fourcc("TIT2"), "title", r::one, w::one},
    id3v2_field_row{fourcc("TIT3"), "subtitle", r::one, w::one},
    id3v2_field_row{fourcc("TSST"), "set subtitle", r::one, w::one},
    id3v2_field_row{fourcc("TALB"), "album", r::one, w::one},
    id3v2_field_row{fourcc("TSRC"), "isrc", r::one, w::one},
    id3v2_field_row{fourcc("TENC"), "encoded by", r::one, w::one},
    id3v2_field_row{fourcc("TCOP"), "copyright", r::one, w::one},
    id3v2_field_row{fourcc("TPUB"), "publisher", r::many, w::many},
    id3v2_field_row{fourcc("TOWN"), "owner", r::one, w::one},
    id3v2_field_row{fourcc("TRSN"), "radio station", r::one, w::one},
    id3v2_field_row{fourcc("TRSO"), "radio station owner", r::one, w::one},
    id3v2_field_row{fourcc("TSSE"), "encoding settings", r::one, w::one},
    id3v2_field_row{fourcc("TBPM"), "bpm", r::one, w::one},
    id3v2_field_row{fourcc("TMED"), "media type", r::one, w::one},
    id3v2_field_row{fourcc("TKEY"), "initial key", r::one, w::one},
    id3v2_field_row{fourcc("TSOT"), "titlesortorder", r::one, w::one},
    id3v2_field_row{fourcc("TSOP"), "artistsortorder", r::many, w::many},
    id3v2_field_row{fourcc("TSOA"), "albumsortorder", r::one, w::one},
    id3v2_field_row{fourcc("TSO2"), "albumartistsortorder", r::many, w::many},
    id3v2_field_row{fourcc("TSOC"), "composersortorder", r::many, w::many},
    id3v2_field_row{fourcc("GRP1"), "iTunes grouping", r::one, w::one},
    id3v2_field_row{fourcc("MVNM"), "movement name", r::one, w::one},
    id3v2_field_row{fourcc("MVIN"), "movement index", r::pair, w::pair, all, all, "movement count"},
    id3v2_field_row{fourcc("TLAN"), "language", r::many, w::many},
    id3v2_field_row{fourcc("USLT"), "unsynced lyrics", r::described, w::described},
    id3v2_field_row{fourcc("TCON"), "genre", r::genre, w::genre},
    id3v2_field_row{fourcc("WCOM"), "commercial information url", r::url, w::url},
    id3v2_field_row{fourcc("WCOP"), "copyright url", r::url, w::url},
    id3v2_field_row{fourcc("WOAF"), "file webpage url", r::url, w::url},
    id3v2_field_row{fourcc("WOAR"), "artist webpage url", r::url, w::url},
    id3v2_field_row{fourcc("WOAS"), "source webpage url", r::url, w::url},
    id3v2_field_row{fourcc("WORS"), "internet radio webpage url", r::url, w::url},
    id3v2_field_row{fourcc("WPAY"), "payment url", r::url, w::url},
    id3v2_field_row{fourcc("WPUB"), "publisher url", r::url, w::url},
    id3v2_field_row{fourcc("TCMP"), "itunescompilation", r::one, w::one},
    id3v2_field_row{fourcc("TYER"), "date", r::year, w::date_before_v4, before_v4, before_v4},
    id3v2_field_row{fourcc("TDAT"), "date", r::day_month, w::none, before_v4, before_v4},
    id3v2_field_row{fourcc("TORY"), "original release date", r::one, w::year_before_v4, before_v4, before_v4},
    id3v2_field_row{fourcc("TRDA"), "recording dates", r::one, w::one, before_v4, before_v4},
    id3v2_field_row{fourcc("TDRC"), "date", r::one, w::date, v4, v4},
    id3v2_field_row{fourcc("TDOR"), "original release date", r::one, w::date, v4, v4},
    id3v2_field_row{fourcc("TIPL"), "involved people", r::one, w::many, v4, v4},
    id3v2_field_row{fourcc("TMCL"), "musician credits", r::one, w::many, v4, v4},
    id3v2_field_row{fourcc("TDRL"), "release date", r::one, w::date},
    id3v2_field_row{fourcc("TRCK"), "tracknumber", r::pair, w::pair, all, all, "totaltracks"},
    id3v2_field_row{fourcc("TPOS"), "discnumber", r::pair, w::pair, all, all, "totaldiscs"},
    id3v2_field_row{fourcc("TOPE"), "original artist", r::many, w::many},
    id3v2_field_row{fourcc("TOAL"), "original album", r::many, w::many},
    id3v2_field_row{fourcc("TPE1"), "artist", r::many, w::many},
    id3v2_field_row{fourcc("TPE2"), "album artist", r::many, w::many},
    id3v2_field_row{fourcc("TPE3"), "conductor", r::many, w::many},
    id3v2_field_row{fourcc("TPE4"), "remixed by", r::many, w::many},
    id3v2_field_row{fourcc("TCOM"), "composer", r::many, w::many},
    id3v2_field_row{fourcc("TEXT"), "lyricist", r::many, w::many},
    id3v2_field_row{fourcc("POPM"), "rating", r::rating, w::rating},
    id3v2_field_row{fourcc("COMM"), "comment", r::comment, w::none},
    id3v2_field_row{fourcc("TXXX"), "", r::free_text, w::none},
    id3v2_field_row{fourcc("WXXX"), "www", r::free_url, w::none},
};
} // namespace id3v2_table

/// What `TPE2` is called where it isn't the album's artist.
inline constexpr std::string_view id3v2_band_field = "band";

/// The row of a frame, or null.
const id3v2_field_row* find_id3v2_row(std::uint32_t id);

constexpr bool is_among(id3v2_versions versions, unsigned version) {
  switch (versions) {
  case id3v2_versions::before_v4: return version < 4;
  case id3v2_versions::v4: return version >= 4;
  default: return true;
  }
}

/// What users and other tag kinds call a field, and what it is called here.
struct field_alias {
  std::string_view alias;
  std::string_view field;
};
inline constexpr std::array field_aliases{
    field_alias{"comments", "comment"},
    field_alias{"title sort", "titlesortorder"},
    field_alias{"title sort order", "titlesortorder"},
    field_alias{"titlesort", "titlesortorder"},
    field_alias{"artist sort", "artistsortorder"},
    field_alias{"artist sort order", "artistsortorder"},
    field_alias{"artistsort", "artistsortorder"},
    field_alias{"album sort", "albumsortorder"},
    field_alias{"album sort order", "albumsortorder"},
    field_alias{"albumsort", "albumsortorder"},
    field_alias{"album artist sort", "albumartistsortorder"},
    field_alias{"album artist sort order", "albumartistsortorder"},
    field_alias{"albumartistsort", "albumartistsortorder"},
    field_alias{"composer sort", "composersortorder"},
    field_alias{"composer sort order", "composersortorder"},
    field_alias{"composersort", "composersortorder"},
};

} // namespace zelmora
