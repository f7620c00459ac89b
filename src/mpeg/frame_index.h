// Where frames begin, for seeks to an exact one. What one decoder of a file has found out serves the next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// Frames of one stream, in order. Shared: every operation locks the one cache. Made by `get_mpeg_frame_index`.
class mpeg_frame_index {
 public:
  struct entry {
    std::uint64_t frame = 0;
    std::uint64_t offset = 0; ///< from the beginning of the stream [bytes]
    std::uint64_t sample = 0; ///< its first, by what the frames before it hold
    friend bool operator==(const entry&, const entry&) = default;
  };
  /// An entry lies more than so many frames from its neighbours.
  static constexpr std::uint64_t spacing = 32;

  /// Keeps `found` unless there is one near it.
  void add(const entry& found);
  /// The last entry at or before `frame`.
  std::optional<entry> find(std::uint64_t frame) const;
  /// The last entry at or before `sample`.
  std::optional<entry> find_sample(std::uint64_t sample) const;
  /// Forgets all entries: the stream is another than it was.
  void clear();

 private:
  std::optional<entry> find_last(std::uint64_t value, std::uint64_t entry::*member) const;

  std::vector<entry> entries_;
};

using mpeg_frame_index_ptr = std::shared_ptr<mpeg_frame_index>;

/// What tells one state of a file from another.
struct mpeg_index_key {
  std::string path;
  std::uint64_t size = 0;      ///< [bytes]
  std::uint64_t timestamp = 0; ///< as of `t_filestats`
  friend bool operator==(const mpeg_index_key&, const mpeg_index_key&) = default;
};

/// The index of that file, from the cache of those used last, or a new one.
mpeg_frame_index_ptr get_mpeg_frame_index(const mpeg_index_key& key);

} // namespace zelmora
