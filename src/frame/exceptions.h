// The one family of exceptions. Everything thrown derives from the standard exception and owns its message; a bool
// result anywhere means "no more", never "failed".
//
// `exception_aborted` is no `exception_io`: it passes through every handler of I/O failures unless caught by name.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace zelmora {

/// Declares an exception with its fixed message; a thrower may give a text of its own.
#define ZELMORA_EXCEPTION(NAME, BASE, MESSAGE)                                                                         \
  class NAME : public BASE {                                                                                           \
   public:                                                                                                             \
    NAME() : BASE(MESSAGE) {}                                                                                          \
    explicit NAME(const std::string& message) : BASE(message) {}                                                       \
  }

namespace zelmora_io {
ZELMORA_EXCEPTION(exception_aborted, std::runtime_error, "User abort");
ZELMORA_EXCEPTION(exception_io, std::runtime_error, "I/O error");
ZELMORA_EXCEPTION(exception_io_data, exception_io, "Unsupported format or corrupted file");
ZELMORA_EXCEPTION(exception_io_data_truncation, exception_io_data, "Unsupported format or corrupted file");
ZELMORA_EXCEPTION(exception_io_unsupported_format, exception_io_data, "Unsupported file format");
ZELMORA_EXCEPTION(exception_io_bad_subsong_index, exception_io_data, "Unexpected subsong index");
ZELMORA_EXCEPTION(exception_io_not_found, exception_io, "Object not found");
ZELMORA_EXCEPTION(exception_io_denied, exception_io, "Access denied");
ZELMORA_EXCEPTION(exception_io_write_protected, exception_io_denied, "The media is write protected");
ZELMORA_EXCEPTION(exception_io_sharing_violation, exception_io, "File is already in use");
ZELMORA_EXCEPTION(exception_io_device_full, exception_io, "Device full");
ZELMORA_EXCEPTION(exception_io_already_exists, exception_io, "Object already exists");
ZELMORA_EXCEPTION(exception_io_directory_not_empty, exception_io, "Directory not empty");
ZELMORA_EXCEPTION(exception_io_disk_change, exception_io, "Disc not available");
ZELMORA_EXCEPTION(exception_io_file_corrupted, exception_io, "The file is corrupted");
ZELMORA_EXCEPTION(exception_io_network_not_reachable, exception_io, "Network not reachable");
ZELMORA_EXCEPTION(exception_io_net, exception_io, "Network error");
ZELMORA_EXCEPTION(exception_io_no_data, exception_io, "The process receiving or sending data has terminated");
ZELMORA_EXCEPTION(exception_io_no_length, exception_io, "Length of object is unknown");
ZELMORA_EXCEPTION(exception_io_no_handler_for_path, exception_io, "Invalid path");
ZELMORA_EXCEPTION(exception_io_object_is_remote, exception_io, "This operation is not supported on remote objects");
ZELMORA_EXCEPTION(exception_io_object_not_seekable, exception_io, "Object is not seekable");
ZELMORA_EXCEPTION(exception_io_seek_out_of_range, exception_io, "Seek offset out of range");
ZELMORA_EXCEPTION(exception_io_unsupported_feature, exception_io, "Unsupported feature");
} // namespace zelmora_io

ZELMORA_EXCEPTION(exception_io_device_not_ready, zelmora_io::exception_io, "Device not ready");
ZELMORA_EXCEPTION(exception_io_invalid_drive, zelmora_io::exception_io_not_found, "Drive not found");
ZELMORA_EXCEPTION(exception_io_buffer_overflow, zelmora_io::exception_io, "The file name is too long");
ZELMORA_EXCEPTION(exception_io_invalid_path_syntax, zelmora_io::exception_io, "Invalid path syntax");

/// A Windows error that no other class stands for; remote and archive hosts may still report one.
class exception_io_win32 : public zelmora_io::exception_io {
 public:
  exception_io_win32() : exception_io("Generic win32 I/O error") {}
  explicit exception_io_win32(std::uint32_t code);
  std::uint32_t code() const noexcept { return code_; }

 protected:
  exception_io_win32(std::uint32_t code, const std::string& message) : exception_io(message), code_(code) {}

 private:
  std::uint32_t code_ = 0;
};

class exception_io_win32_ex : public exception_io_win32 {
 public:
  exception_io_win32_ex(std::uint32_t code, const std::string& explanation);
};

ZELMORA_EXCEPTION(exception_tag_not_found, zelmora_io::exception_io_data, "Tag not found");
ZELMORA_EXCEPTION(exception_tagging_unsupported, zelmora_io::exception_io_data,
                  "Tagging of this file format is not supported");
ZELMORA_EXCEPTION(exception_album_art_not_found, zelmora_io::exception_io_not_found, "Attached picture not found");
ZELMORA_EXCEPTION(exception_album_art_unsupported_entry, zelmora_io::exception_io_data,
                  "Unsupported attached picture entry");
ZELMORA_EXCEPTION(exception_album_art_unsupported_format, zelmora_io::exception_io_data,
                  "Unsupported attached picture format");
ZELMORA_EXCEPTION(exception_ffmpeg_patch_welcome, zelmora_io::exception_io_data, "ffmpeg: patch welcome");
ZELMORA_EXCEPTION(exception_service_not_found, std::runtime_error, "Service not found");
ZELMORA_EXCEPTION(exception_service_duplicated, std::runtime_error, "Service duplicated");
ZELMORA_EXCEPTION(exception_service_extension_not_found, std::runtime_error, "Service extension not found");
/// A failure of the operating system outside file access; the message is the system's own text.
ZELMORA_EXCEPTION(exception_win32, std::runtime_error, "System error");

namespace kiv {
ZELMORA_EXCEPTION(exception_overflow, std::runtime_error, "Overflow");
ZELMORA_EXCEPTION(exception_bug_check, std::runtime_error, "Bug check");
ZELMORA_EXCEPTION(exception_invalid_params, exception_bug_check, "Invalid parameters");
ZELMORA_EXCEPTION(exception_not_implemented, exception_bug_check, "Feature not implemented");
ZELMORA_EXCEPTION(exception_dynamic_assert, exception_bug_check, "dynamic_assert failure");
} // namespace kiv

#undef ZELMORA_EXCEPTION

/// What can only happen by a fault in the program itself: raises `kiv::exception_bug_check`.
[[noreturn]] void uBugCheck(const char* what = "Bug check");

/// The class name without its namespaces, such as "exception_io_data": what tools print beside the message.
std::string exception_class_name(const std::exception& failure);

/// Raises the exception that stands for a Windows error code; never returns.
/// Codes are those of "System Error Codes", learn.microsoft.com/windows/win32/debug/system-error-codes.
[[noreturn]] void raise_win32_io_error(std::uint32_t code);

} // namespace zelmora
