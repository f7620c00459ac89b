// Pictures of MPEG audio: those of its ID3v2 or APE tag.
#include "frame/album_art_impl.h"
#include "mpeg/input_mp3.h"
#include "tags/tag_processor.h"

namespace zelmora {

namespace {

struct mp3_pictures {
  static bool is_our_path(std::string_view, std::string_view extension) {
    return input_mp3::g_is_our_extension(extension);
  }
  static guid get_guid() { return input_mp3::g_get_guid(); }
  static album_art_set read(zelmora_io::file& source, abort_callback& abort) {
    return tag_processor::read_pictures(source, abort);
  }
  static void write(file_ptr& target, std::string_view path, const album_art_set& pictures, abort_callback& abort) {
    tag_processor::write_pictures(target, path, pictures, abort);
  }
};

album_art_factory_t<mp3_pictures> factory;

} // namespace

} // namespace zelmora
