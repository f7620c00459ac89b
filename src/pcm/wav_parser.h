// Finds the format and the data in a file of the WAV family: RIFF, RF64 and Sony Wave64 in one chunk loop.
// What is wrong with a damaged file that can still be played is recorded as warnings.
#pragma once

#include "codecs/wave_format.h"
#include "frame/file.h"
#include "pcm/wave_chunks.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// The payload of a chunk.
struct wave_extent {
  std::uint64_t position = 0;
  std::uint64_t size = 0; ///< [bytes]
};

/// The chunks of a RIFF file that hold tags: the first of each kind that is there in full.
struct riff_tag_chunks {
  std::optional<wave_extent> id3;
  std::optional<wave_extent> info; ///< begins with "INFO"
};

class wav_parser {
 public:
  static constexpr std::uint64_t unknown = zelmora_io::file::unknown_size;

  explicit wav_parser(file_ptr file) : file_(std::move(file)) {}

  /// Reads from the file's present position, its start. Foreign data and damage that nothing can be played behind raise
  /// `exception_io_data`. On a file that can't seek, the position is `data_offset()` afterwards.
  void parse(abort_callback& abort);

  const file_ptr& file() const noexcept { return file_; }
  const wave_format& format() const noexcept { return format_; }
  wave_container container() const noexcept { return container_; }
  std::uint64_t data_offset() const noexcept { return data_offset_; }
  /// [bytes]; `unknown` when neither the header nor the file's size tells.
  std::uint64_t data_size() const noexcept { return data_size_; }
  /// Samples per channel by the writer's word; 0 when it gave none, or none that still holds.
  std::uint64_t fact_samples() const noexcept { return fact_samples_; }
  const std::vector<std::string>& warnings() const noexcept { return warnings_; }
  /// Empty for other containers, and on files that can't seek.
  const riff_tag_chunks& tags() const noexcept { return tags_; }

 private:
  struct chunk {
    guid id;
    riff_code code;
    std::uint64_t header = 0;  ///< position
    std::uint64_t payload = 0; ///< position
    std::uint64_t size = 0;    ///< of the payload, as far as it is there; `unknown` for all that follows
    bool is_cut = false;       ///< `size` is not what the header claims
  };

  void read_file_header(abort_callback& abort);
  void set_container_size(std::uint64_t claimed);
  void limit_to_file();
  bool read_chunk(chunk& out, abort_callback& abort);
  void bound_chunk(chunk& c);
  void handle_chunk(const chunk& c, abort_callback& abort);
  void read_ds64(const chunk& c, abort_callback& abort);
  void read_format(const chunk& c, abort_callback& abort);
  void widen_block();
  void read_fact(const chunk& c, abort_callback& abort);
  void note_data(const chunk& c);
  void note_tags(const chunk& c, abort_callback& abort);
  bool move_past(const chunk& c, abort_callback& abort);
  void drop_stale_fact();
  void warn(std::string text) { warnings_.push_back(std::move(text)); }

  file_ptr file_;
  wave_format format_;
  std::uint64_t data_size_ = 0;
  std::uint64_t data_offset_ = 0;
  std::uint64_t fact_samples_ = 0;
  wave_container container_ = wave_container::riff;
  std::vector<std::string> warnings_;
  riff_tag_chunks tags_;

  // While parsing.
  std::uint64_t file_size_ = unknown;
  std::uint64_t riff_end_ = unknown;
  std::uint64_t position_ = 0;
  std::uint64_t ds64_data_size_ = 0;
  bool has_ds64_ = false;
  bool has_format_ = false;
  bool has_data_ = false;
};

} // namespace zelmora
