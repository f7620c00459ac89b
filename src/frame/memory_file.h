// A stream over bytes in memory: what "tempmem://" opens, and what tools and tests put in the place of a file.
#pragma once

#include "frame/file.h"

#include <span>
#include <string_view>
#include <vector>

namespace zelmora {

class memory_file : public zelmora_io::file_v2 {
 public:
  memory_file() = default;
  explicit memory_file(std::vector<std::byte> content) : content_(std::move(content)) {}
  explicit memory_file(std::span<const std::byte> content) : content_(content.begin(), content.end()) {}
  explicit memory_file(std::string_view content) : memory_file(as_byte_span(content)) {}

  const std::vector<std::byte>& content() const noexcept { return content_; }

  std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) override;
  void write(const void* buffer, std::size_t bytes, abort_callback& abort) override;
  std::uint64_t get_size(abort_callback&) override { return content_.size(); }
  std::uint64_t get_position(abort_callback&) override { return position_; }
  void resize(std::uint64_t size, abort_callback& abort) override;
  void seek(std::uint64_t position, abort_callback& abort) override;
  bool can_seek() override { return true; }
  bool get_content_type(std::string&) override { return false; }
  bool is_in_memory() override { return true; }
  void reopen(abort_callback&) override { position_ = 0; }
  bool is_remote() override { return false; }
  void flush_to_disk(abort_callback&) override {}

 private:
  std::vector<std::byte> content_;
  std::size_t position_ = 0;
};

} // namespace zelmora
