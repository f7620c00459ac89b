// Pictures of a track: what kinds there are, and their bytes.
#pragma once

#include "frame/file.h"
#include "frame/guid.h"
#include "frame/service.h"

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// What a picture shows.
namespace album_art_id {
inline constexpr guid cover_front = "F1E66F4E-FE09-4B94-91A3-67C23ED1445E"_guid;
inline constexpr guid cover_back = "CB552D19-86D5-434C-AC77-BB24ED567EE4"_guid;
inline constexpr guid disc = "3DBA9F36-F928-4FA4-879C-D3404759587E"_guid;
inline constexpr guid icon = "74CDF5B4-7053-4B3D-9A3C-5469F5826EEC"_guid;
inline constexpr guid artist = "9A654042-ACD1-43F7-BFCF-D3EC0FFE40FA"_guid;
} // namespace album_art_id

/// The bytes of one picture, as an image file would hold them. Never changes, so that any thread may share it.
class album_art_data : public service_base {
 public:
  using interface_type = album_art_data;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E360"_guid;

  virtual std::span<const std::byte> bytes() const noexcept = 0;
};
using album_art_data_ptr = service_ptr_t<album_art_data>;

/// Takes over `content`.
album_art_data_ptr make_album_art(std::vector<std::byte> content);

/// One picture of a set. A set holds each id once, and keeps its order.
struct album_art_entry {
  guid id;
  album_art_data_ptr data;
};
using album_art_set = std::vector<album_art_entry>;

/// The picture of that id, or null.
album_art_data_ptr find_album_art(const album_art_set& pictures, const guid& id);

/// The pictures of one open file. One thread at a time.
class album_art_extractor_instance : public service_base {
 public:
  using interface_type = album_art_extractor_instance;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E362"_guid;

  /// Raises `exception_album_art_not_found` when there is none of that kind.
  virtual album_art_data_ptr query(const guid& id, abort_callback& abort) = 0;
};
using album_art_extractor_instance_ptr = service_ptr_t<album_art_extractor_instance>;

/// Changes that `commit` writes.
class album_art_editor_instance : public album_art_extractor_instance {
 public:
  using interface_type = album_art_editor_instance;
  using interface_parent = album_art_extractor_instance;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E363"_guid;

  virtual void set(const guid& id, album_art_data_ptr data, abort_callback& abort) = 0;
  virtual void remove(const guid& id) = 0;
  virtual void remove_all() = 0;
  virtual void commit(abort_callback& abort) = 0;
};
using album_art_editor_instance_ptr = service_ptr_t<album_art_editor_instance>;

/// Opens files of one format for their pictures. What `file` is null for is opened by its path. Raises
/// `exception_io_data` for other formats; an extractor raises `exception_album_art_not_found` for a file without tags.
class album_art_extractor : public service_base {
 public:
  using interface_type = album_art_extractor;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E364"_guid;

  virtual bool is_our_path(std::string_view path, std::string_view extension) = 0;
  virtual album_art_extractor_instance_ptr open(zelmora_io::file_ptr file, std::string_view path,
                                                abort_callback& abort) = 0;
  /// The input of the format.
  virtual guid get_guid() = 0;
};

class album_art_editor : public service_base {
 public:
  using interface_type = album_art_editor;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E365"_guid;

  virtual bool is_our_path(std::string_view path, std::string_view extension) = 0;
  virtual album_art_editor_instance_ptr open(zelmora_io::file_ptr file, std::string_view path,
                                             abort_callback& abort) = 0;
  virtual guid get_guid() = 0;
};

/// Knows kinds of images; offered by hosts that show them.
class image_formats : public service_base {
 public:
  using interface_type = image_formats;
  using interface_parent = service_base;
  static constexpr guid class_guid = "2E4B7C0A-93F5-4D0D-8A6C-51B0D4C7E361"_guid;

  /// "jpeg", "png", "gif", "bmp", "webp"...: the part of the media type behind "image/". Empty for what is none.
  virtual std::string get_format_name(std::span<const std::byte> image) = 0;
};

/// The format as the host names it; empty when it can't.
std::string image_format_name(std::span<const std::byte> image);

} // namespace zelmora
