#include "tags/id3v2_pictures.h"

#include "frame/exceptions.h"
#include "tags/id3v2_text.h"
#include "tags/id3v2_whole.h"

#include <algorithm>
#include <array>
#include <optional>

namespace zelmora {

using id3parser::frame;
using id3parser::parseError;
using id3parser::tag;

namespace {

constexpr std::uint32_t picture_id = fourcc("APIC");
constexpr unsigned type_other = 0;

/// Picture types (version 2.3.0, section 4.15) and what they show, the type that is written first.
struct picture_type {
  unsigned type;
  guid id;
};
constexpr std::array picture_types{
    picture_type{3, album_art_id::cover_front}, picture_type{4, album_art_id::cover_back},
    picture_type{6, album_art_id::disc},        picture_type{2, album_art_id::icon},
    picture_type{1, album_art_id::icon},        picture_type{8, album_art_id::artist},
    picture_type{7, album_art_id::artist},      picture_type{9, album_art_id::artist},
    picture_type{10, album_art_id::artist},     picture_type{11, album_art_id::artist},
};

std::optional<guid> id_of_type(unsigned type) {
  const auto found = std::ranges::find(picture_types, type, &picture_type::type);
  return found == picture_types.end() ? std::nullopt : std::optional(found->id);
}

unsigned type_of_id(const guid& id) {
  const auto found = std::ranges::find(picture_types, id, &picture_type::id);
  if (found == picture_types.end()) throw exception_album_art_unsupported_entry();
  return found->type;
}

std::optional<id3parser::picture_view> view_picture(const frame& source) {
  if (source.id != picture_id) return std::nullopt;
  try {
    return parse_picture(source);
  } catch (const parseError&) {
    return std::nullopt;
  }
}

bool has_front_cover(const std::vector<frame>& frames) {
  return std::ranges::any_of(frames, [](const frame& f) {
    const auto picture = view_picture(f);
    return picture && id_of_type(picture->type) == album_art_id::cover_front;
  });
}

/// What each frame shows in a tag: nothing for what is no picture, or one of a type that nobody asks for.
class picture_kinds {
 public:
  explicit picture_kinds(const std::vector<frame>& frames) : other_is_front_(!has_front_cover(frames)) {}
  std::optional<guid> of(const id3parser::picture_view& picture) const {
    if (picture.type == type_other) return other_is_front_ ? std::optional(album_art_id::cover_front) : std::nullopt;
    return id_of_type(picture.type);
  }

 private:
  bool other_is_front_;
};

/// Takes the frames that have to go out of `frames`, and out of `wanted` the pictures that are there. The first frame
/// of a kind is the one that is seen; those behind it share its fate.
void keep_wanted_pictures(std::vector<frame>& frames, album_art_set& wanted) {
  const picture_kinds kinds(frames);
  std::vector<guid> kept;
  std::vector<guid> replaced;
  const auto is_replaced = [&](const frame& f) {
    const auto picture = view_picture(f);
    const auto id = picture ? kinds.of(*picture) : std::nullopt;
    if (!id || std::ranges::count(kept, *id) != 0) return false;
    if (std::ranges::count(replaced, *id) != 0) return true;
    const auto found = std::ranges::find(wanted, *id, &album_art_entry::id);
    const bool is_wanted = found != wanted.end() && std::ranges::equal(found->data->bytes(), picture->data);
    if (is_wanted) wanted.erase(found);
    (is_wanted ? kept : replaced).push_back(*id);
    return !is_wanted;
  };
  std::erase_if(frames, is_replaced);
}

frame make_frame(const album_art_entry& entry) {
  const auto image = entry.data->bytes();
  return id3parser::make_picture_frame("image/" + image_format_name(image), type_of_id(entry.id), image);
}

} // namespace

album_art_set read_id3v2_pictures(std::span<const std::byte> data) {
  const auto is_picture = [](std::uint32_t id) { return id == picture_id; };
  const auto source = parse_id3v2(data, is_picture, id3parser::damaged_frames::leave_out);
  const picture_kinds kinds(source.frames);
  album_art_set result;
  for (const auto& f : source.frames) {
    const auto picture = view_picture(f);
    const auto id = picture ? kinds.of(*picture) : std::nullopt;
    if (id && !find_album_art(result, *id))
      result.push_back({*id, make_album_art({picture->data.begin(), picture->data.end()})});
  }
  return result;
}

std::vector<std::byte> write_id3v2_pictures(std::span<const std::byte> old_tag, std::uint64_t old_size,
                                            const album_art_set& pictures, const id3v2_write_options& options) {
  auto made = parse_replaceable_id3v2(old_tag);
  const auto version = choose_id3v2_version(options, made);
  if (made.version != 0 && made.version != version) {
    // Another version has other frames for the same fields: those come first.
    file_info_impl info;
    try {
      read_id3v2(old_tag, info);
    } catch (const zelmora_io::exception_io_data&) {
      // It says nothing.
    }
    const auto base = write_id3v2(old_tag, old_size, info, options);
    if (!base.empty()) return write_id3v2_pictures(base, old_size, pictures, options);
  }
  auto wanted = pictures;
  const auto count = made.frames.size();
  keep_wanted_pictures(made.frames, wanted);
  if (made.frames.size() == count && wanted.empty() && old_tag.size() == old_size)
    return {old_tag.begin(), old_tag.end()};
  made.version = version;
  for (const auto& entry : wanted) made.frames.push_back(make_frame(entry));
  return serialize_id3v2(made, old_size, options.padding);
}

} // namespace zelmora
