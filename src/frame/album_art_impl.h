// Extractor and editor of a format that reads and writes its pictures as one set.
//
// The format is a class with
//   static bool is_our_path(std::string_view path, std::string_view extension);
//   static guid get_guid();    of its input
//   static album_art_set read(zelmora_io::file& source, abort_callback& abort);
//   static void write(file_ptr& target, std::string_view path, const album_art_set& pictures, abort_callback& abort);
// where `read` raises `exception_album_art_not_found` for a file that can't have any.
#pragma once

#include "frame/album_art.h"
#include "frame/exceptions.h"
#include "frame/input_open.h"

#include <string>

namespace zelmora {

namespace detail {

/// Raises `exception_album_art_not_found` when it isn't there.
inline album_art_data_ptr require_album_art(const album_art_set& pictures, const guid& id) {
  auto found = find_album_art(pictures, id);
  if (!found) throw exception_album_art_not_found();
  return found;
}

class album_art_set_extractor : public album_art_extractor_instance {
 public:
  explicit album_art_set_extractor(album_art_set pictures) : pictures_(std::move(pictures)) {}
  album_art_data_ptr query(const guid& id, abort_callback&) override { return require_album_art(pictures_, id); }

 private:
  album_art_set pictures_;
};

template <class Format>
class album_art_set_editor : public album_art_editor_instance {
 public:
  album_art_set_editor(file_ptr file, std::string_view path, abort_callback& abort)
      : file_(std::move(file)), path_(path) {
    try {
      pictures_ = Format::read(*file_, abort);
    } catch (const exception_album_art_not_found&) {
      // It gets its first.
    }
  }

  album_art_data_ptr query(const guid& id, abort_callback&) override { return require_album_art(pictures_, id); }
  void set(const guid& id, album_art_data_ptr data, abort_callback&) override {
    for (auto& entry : pictures_) {
      if (entry.id != id) continue;
      entry.data = std::move(data);
      return;
    }
    pictures_.push_back({id, std::move(data)});
  }
  void remove(const guid& id) override {
    std::erase_if(pictures_, [&](const album_art_entry& entry) { return entry.id == id; });
  }
  void remove_all() override { pictures_.clear(); }
  void commit(abort_callback& abort) override { Format::write(file_, path_, pictures_, abort); }

 private:
  file_ptr file_;
  std::string path_;
  album_art_set pictures_;
};

/// What both entries of a format answer alike.
template <class Format, class Interface>
class album_art_format : public Interface {
 public:
  bool is_our_path(std::string_view path, std::string_view extension) override {
    return Format::is_our_path(path, extension);
  }
  guid get_guid() override { return Format::get_guid(); }
};

} // namespace detail

template <class Format>
class album_art_extractor_impl : public detail::album_art_format<Format, album_art_extractor> {
 public:
  album_art_extractor_instance_ptr open(file_ptr file, std::string_view path, abort_callback& abort) override {
    input_open_file_helper(file, path, input_open_info_read, abort);
    return service_new<detail::album_art_set_extractor>(Format::read(*file, abort));
  }
};

template <class Format>
class album_art_editor_impl : public detail::album_art_format<Format, album_art_editor> {
 public:
  album_art_editor_instance_ptr open(file_ptr file, std::string_view path, abort_callback& abort) override {
    input_open_file_helper(file, path, input_open_info_write, abort);
    return service_new<detail::album_art_set_editor<Format>>(std::move(file), path, abort);
  }
};

/// Registers both: `static album_art_factory_t<format> factory;`.
template <class Format>
struct album_art_factory_t {
  service_factory_single_t<album_art_extractor_impl<Format>, album_art_extractor> extractor;
  service_factory_single_t<album_art_editor_impl<Format>, album_art_editor> editor;
};

} // namespace zelmora
