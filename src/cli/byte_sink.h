// Where decoded samples go: a file that appears when it is complete, or a stream that takes bytes as they come.
#pragma once

#include "cli/interruptible_write.h"
#include "frame/abort_callback.h"
#include "frame/rewrite.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmora::cli {

class byte_sink {
 public:
  virtual ~byte_sink() = default;
  virtual void write(std::span<const std::byte> bytes) = 0;
  /// Whether what was written can be written over.
  virtual bool can_patch() const = 0;
  /// Writes over the bytes from `position`, counted from the first that was written.
  virtual void patch(std::uint64_t position, std::span<const std::byte> bytes) = 0;
  /// Everything has been written. Without this call nothing stands under the final name.
  virtual void finish() = 0;
};

/// A file under a temporary name beside `path`, until `finish` puts it in place.
class file_sink final : public byte_sink {
 public:
  file_sink(const std::string& path, abort_callback& abort);
  void write(std::span<const std::byte> bytes) override;
  bool can_patch() const override { return true; }
  void patch(std::uint64_t position, std::span<const std::byte> bytes) override;
  void finish() override;

 private:
  abort_callback& abort_;
  file_rewriter rewriter_;
};

/// An open descriptor: a pipe, a device, or whatever standard output is. Small writes are gathered.
class descriptor_sink final : public byte_sink {
 public:
  enum class ownership : bool { borrowed, owned };

  descriptor_sink(int descriptor, ownership owned, abort_callback& abort);
  ~descriptor_sink() override;
  descriptor_sink(const descriptor_sink&) = delete;
  descriptor_sink& operator=(const descriptor_sink&) = delete;

  void write(std::span<const std::byte> bytes) override;
  bool can_patch() const override { return start_ >= 0; }
  void patch(std::uint64_t position, std::span<const std::byte> bytes) override;
  void finish() override { flush(); }

 private:
  static constexpr std::size_t capacity = 131'072;

  void flush();
  void write_through(std::span<const std::byte> bytes);

  int descriptor_;
  ownership owned_;
  abort_callback& abort_;
  interruptible_writer writer_;
  std::int64_t start_ = -1; ///< file offset of the first byte written; below 0 when it can't be gone back to
  std::vector<std::byte> buffer_;
};

} // namespace zelmora::cli
