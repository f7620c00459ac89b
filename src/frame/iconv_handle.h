// One direction of conversion by iconv(3), with an owner.
#pragma once

#include <array>
#include <cerrno>
#include <iconv.h>
#include <string>
#include <string_view>
#include <utility>

namespace zelmora {

/// Not for use by two threads at once.
class iconv_handle {
 public:
  iconv_handle() = default;
  iconv_handle(const std::string& to, const std::string& from) : handle_(::iconv_open(to.c_str(), from.c_str())) {}
  iconv_handle(iconv_handle&& other) noexcept : handle_(std::exchange(other.handle_, closed())) {}
  iconv_handle& operator=(iconv_handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~iconv_handle() {
    if (is_open()) ::iconv_close(handle_);
  }

  /// False when iconv knows no such conversion. The operations below are for an open handle.
  bool is_open() const noexcept { return handle_ != closed(); }
  /// Back to the state at the beginning of a text.
  void reset() noexcept { ::iconv(handle_, nullptr, nullptr, nullptr, nullptr); }

  enum class result {
    done,         ///< all of the text is converted
    cut_short,    ///< what is left of the text is the beginning of something
    unconvertible ///< what is left of the text begins with something invalid or not to be expressed
  };
  /// Takes from the front of `text` what can be converted, and appends it to `out`.
  result convert(std::string_view& text, std::string& out) {
    // iconv(3) takes its input as char** for want of const, and does not write to it.
    char* from = const_cast<char*>(text.data());
    std::size_t left = text.size();
    const auto status = run(&from, &left, out);
    text.remove_prefix(text.size() - left);
    return status;
  }
  /// Appends what the conversion holds back, and what ends a text of an encoding with states.
  void finish(std::string& out) { run(nullptr, nullptr, out); }

 private:
  static iconv_t closed() noexcept { return reinterpret_cast<iconv_t>(-1); }

  result run(char** from, std::size_t* left, std::string& out) {
    std::array<char, 512> block;
    for (;;) {
      char* to = block.data();
      std::size_t room = block.size();
      const auto converted = ::iconv(handle_, from, left, &to, &room);
      const int error = errno;
      out.append(block.data(), block.size() - room);
      if (converted != static_cast<std::size_t>(-1)) return result::done;
      if (error != E2BIG) return error == EINVAL ? result::cut_short : result::unconvertible;
    }
  }

  iconv_t handle_ = closed();
};

} // namespace zelmora
