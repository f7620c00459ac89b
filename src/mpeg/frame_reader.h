// Frame after frame of a stream, over tags and damage in the middle of it. The numbers of frames that decoding, seeking
// and repairing go by are those of this reader.
#pragma once

#include "codecs/mpeg_frame_header.h"
#include "mpeg/byte_window.h"
#include "mpeg/frame_index.h"
#include "mpeg/frame_scan.h"

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>

namespace zelmora {

/// What the reader meets besides frames.
enum class mpeg_event {
  id3_garbage,   ///< tags between frames
  stream_error,  ///< bytes that are no frame
  resync_done,   ///< a frame behind them; the decoder's past is void
  resync_failed, ///< none
  parser_error   ///< the frame found is gone
};

/// Told of each event, and the offset in the file [bytes]; what it raises ends the reading.
using mpeg_event_sink = std::function<void(mpeg_event event, std::uint64_t offset)>;

struct mpeg_frame {
  std::uint64_t number = 0;
  std::uint64_t offset = 0; ///< from the beginning of the file [bytes]
  std::uint64_t sample = 0; ///< its first, by what the frames before it hold
  mpeg_frame_header header;
  bool is_behind_damage = false; ///< decoders begin anew with it
  bool is_damaged = false; ///< its header is not that of its neighbours: it has their samples, but can't be decoded
};

class mpeg_frame_reader {
 public:
  struct range {
    std::uint64_t begin = 0;                            ///< the first frame [bytes]
    std::uint64_t end = zelmora_io::file::unknown_size; ///< frames don't begin at or behind it [bytes]
    mpeg_frame_index_ptr index;                         ///< takes what is found; may be null
    std::optional<mpeg_frame_header> format{};          ///< of the first frame, where it is known
    /// Where the last frame seems to end: what follows is searched for frames, but isn't damage [bytes].
    std::uint64_t end_of_frames = zelmora_io::file::unknown_size;
  };

  /// Frames from `what.begin` on.
  mpeg_frame_reader(byte_window& window, range what, mpeg_event_sink sink);

  /// The next frame; none at the end. Its body may be cut by the end of the file.
  std::optional<mpeg_frame> next(abort_callback& abort);
  /// Goes on with a frame of the index.
  void seek(const mpeg_frame_index::entry& known);

  /// From now on numbers may be wrong: the index takes no more.
  void leave_index() { range_.index.reset(); }

  /// Where the next frame should begin [bytes].
  std::uint64_t position() const noexcept { return position_; }
  /// The number of the next frame.
  std::uint64_t number() const noexcept { return number_; }

 private:
  enum class verdict { frame, damaged_frame, no_frame };

  std::optional<mpeg_frame_header> read_header(abort_callback& abort);
  verdict judge(const mpeg_frame_header& header, abort_callback& abort);
  std::optional<found_mpeg_frame> find_behind_tag(std::span<const std::byte> bytes, abort_callback& abort);
  bool resynchronise(abort_callback& abort);
  void tell(mpeg_event event, std::uint64_t offset) const {
    if (sink_) sink_(event, offset);
  }

  byte_window& window_;
  range range_;
  mpeg_event_sink sink_;
  std::uint64_t position_;
  std::uint64_t number_ = 0;
  std::uint64_t sample_ = 0;
  std::uint64_t indexed_ = std::numeric_limits<std::uint64_t>::max(); ///< number of the frame last offered to the index
  bool is_behind_damage_ = false;
  bool is_damaged_ = false;
  bool is_known_ = false; ///< that the next is a frame
  std::optional<mpeg_frame_header> last_;
};

} // namespace zelmora
