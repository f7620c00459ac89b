#include "frame/exceptions.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cxxabi.h>
#include <fmt/core.h>
#include <memory>
#include <typeinfo>

namespace zelmora {

using namespace zelmora_io;

exception_io_win32::exception_io_win32(std::uint32_t code)
    : exception_io_win32(code, fmt::format("I/O error (win32 {})", code)) {}

exception_io_win32_ex::exception_io_win32_ex(std::uint32_t code, const std::string& explanation)
    : exception_io_win32(code, fmt::format("I/O error (win32 {}): {}", code, explanation)) {}

void uBugCheck(const char* what) { throw kiv::exception_bug_check(what); }

std::string exception_class_name(const std::exception& failure) {
  const char* mangled = typeid(failure).name();
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> demangled(abi::__cxa_demangle(mangled, nullptr, nullptr, &status),
                                                              &std::free);
  std::string name = status == 0 && demangled ? demangled.get() : mangled;
  if (const auto colons = name.rfind("::"); colons != std::string::npos) name.erase(0, colons + 2);
  return name;
}

namespace {

template <class Exception>
[[noreturn]] void raise(const char* message) {
  if (message == nullptr) throw Exception();
  throw Exception(message);
}

struct win32_error {
  std::uint32_t first;
  std::uint32_t last;
  void (*raise)(const char*);
  const char* message; ///< null: the class's own
};

constexpr std::array win32_errors{
    win32_error{1, 1, raise<exception_io_unsupported_feature>, nullptr},
    win32_error{2, 3, raise<exception_io_not_found>, nullptr},
    win32_error{5, 5, raise<exception_io_denied>, nullptr},
    win32_error{15, 15, raise<exception_io_invalid_drive>, nullptr},
    win32_error{17, 17, raise<exception_io>, "Source and destination must be on the same device"},
    win32_error{19, 19, raise<exception_io_write_protected>, nullptr},
    win32_error{21, 21, raise<exception_io_device_not_ready>, nullptr},
    win32_error{23, 23, raise<exception_io_file_corrupted>, nullptr},
    win32_error{32, 33, raise<exception_io_sharing_violation>, nullptr},
    win32_error{39, 39, raise<exception_io_device_full>, nullptr},
    win32_error{53, 53, raise<exception_io>, "Network path not found"},
    win32_error{59, 59, raise<exception_io>, "Unexpected network error"},
    win32_error{64, 64, raise<exception_io_network_not_reachable>, nullptr},
    win32_error{65, 65, raise<exception_io_denied>, nullptr},
    win32_error{80, 80, raise<exception_io_already_exists>, nullptr},
    win32_error{107, 107, raise<exception_io_disk_change>, nullptr},
    win32_error{109, 109, raise<exception_io_no_data>, nullptr},
    win32_error{111, 111, raise<exception_io_buffer_overflow>, nullptr},
    win32_error{112, 112, raise<exception_io_device_full>, nullptr},
    win32_error{123, 123, raise<exception_io_invalid_path_syntax>, nullptr},
    win32_error{145, 145, raise<exception_io_directory_not_empty>, nullptr},
    win32_error{148, 148, raise<exception_io_sharing_violation>, nullptr},
    win32_error{170, 170, raise<exception_io_sharing_violation>, nullptr},
    win32_error{183, 183, raise<exception_io_already_exists>, nullptr},
    win32_error{232, 232, raise<exception_io_no_data>, nullptr},
    win32_error{433, 433, raise<exception_io_invalid_drive>, nullptr},
    win32_error{1117, 1117, raise<exception_io>, "Device error"},
    win32_error{1231, 1231, raise<exception_io_network_not_reachable>, nullptr},
    win32_error{1392, 1393, raise<exception_io_file_corrupted>, nullptr},
    win32_error{1450, 1455, raise<exception_io>, "Insufficient system resources"},
    win32_error{0x80310000, 0x80310000, raise<exception_io>, "Drive locked by BitLocker"},
};

} // namespace

void raise_win32_io_error(std::uint32_t code) {
  for (const auto& row : win32_errors)
    if (code >= row.first && code <= row.last) row.raise(row.message);
  throw exception_io_win32(code);
}

} // namespace zelmora
