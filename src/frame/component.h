// What a module tells its host about itself and about the kinds of file that it knows.
#pragma once

#include "frame/service.h"
#include "frame/text.h"

#include <string>
#include <string_view>

namespace zelmora {

/// One line in the host's list of components.
class component_version_entry : public service_base {
 public:
  using interface_type = component_version_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6E0A5F35-1D0B-4B26-8A2C-7C9E3D5B8F50"_guid;

  virtual std::string get_name() = 0;
  virtual std::string get_version() = 0;
  /// What stands in the box that tells more of it; may be empty.
  virtual std::string get_about() { return {}; }
};

/// Is called once, when the host has started, to write to the console what may help to explain later trouble.
class startup_log_entry : public service_base {
 public:
  using interface_type = startup_log_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6E0A5F35-1D0B-4B26-8A2C-7C9E3D5B8F54"_guid;

  virtual void write() = 0;
};

/// Whether the module lies on the disk under its proper file name.
class component_file_check_entry : public service_base {
 public:
  using interface_type = component_file_check_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6E0A5F35-1D0B-4B26-8A2C-7C9E3D5B8F51"_guid;

  virtual bool is_proper_file_name(std::string_view library_path) = 0;
};

/// A row of the host's open dialog and of its shell association.
class input_file_type_entry : public service_base {
 public:
  using interface_type = input_file_type_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6E0A5F35-1D0B-4B26-8A2C-7C9E3D5B8F52"_guid;

  virtual std::string get_name() = 0;
  virtual std::string get_mask() = 0;
  virtual bool is_associatable() = 0;
};

class input_file_type_impl : public input_file_type_entry {
 public:
  input_file_type_impl(std::string_view name, std::string_view mask) : name_(name), mask_(mask) {}
  std::string get_name() override { return std::string(name_); }
  std::string get_mask() override { return std::string(mask_); }
  bool is_associatable() override { return true; }

 private:
  std::string_view name_;
  std::string_view mask_; ///< "*.WAV;*.WAVE"
};

/// The icon of a file, by its extension.
class file_icon_entry : public service_base {
 public:
  using interface_type = file_icon_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6E0A5F35-1D0B-4B26-8A2C-7C9E3D5B8F53"_guid;

  /// The icon's resource name in `out`, when the entry is for `extension` (without the dot).
  virtual bool get_icon(std::string_view extension, std::string& out) = 0;
};

class file_icon_impl : public file_icon_entry {
 public:
  file_icon_impl(std::string_view extensions, std::string_view icon) : extensions_(extensions), icon_(icon) {}
  bool get_icon(std::string_view extension, std::string& out) override {
    if (!list_contains(extensions_, extension)) return false;
    out = icon_;
    return true;
  }

 private:
  std::string_view extensions_; ///< "WAV;WAVE;W64"
  std::string_view icon_;
};

} // namespace zelmora
