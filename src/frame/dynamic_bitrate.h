// The bit rate of the last stretch, for display while a track plays.
#pragma once

#include "frame/file_info.h"

#include <cstddef>
#include <cstdint>

namespace zelmora {

/// Bits and the time that they sound.
class bitrate_accumulator {
 public:
  void add_bits(std::uint64_t bits, double seconds) {
    bits_ += bits;
    seconds_ += seconds;
  }
  void add_bytes(std::size_t bytes, double seconds) { add_bits(std::uint64_t{bytes} * 8, seconds); }
  double seconds() const noexcept { return seconds_; }
  /// Sets "bitrate_dynamic" [kbit/s] in `info` when it isn't the same already, which it answers; starts anew either
  /// way.
  bool publish(file_info& info);
  void clear() noexcept { *this = {}; }

 private:
  std::uint64_t bits_ = 0;
  double seconds_ = 0;
};

/// Reads the host's refresh rate at its first use; without one, or with 0, it never updates.
class dynamic_bitrate_helper {
 public:
  /// Takes note of a frame of `seconds` [s] that took `bits` bits.
  void on_frame(double seconds, std::size_t bits);
  /// When an interval has passed and the rate has changed: sets "bitrate_dynamic" [kbit/s] in `info`, `delta` [s] to
  /// where the stretch began, counted from the start, and returns true.
  bool on_update(file_info& info, double& delta);
  /// After a seek.
  void reset();

 private:
  void initialize();

  double time_ = 0; ///< since start [s]
  bitrate_accumulator stretch_;
  double interval_ = 0; ///< [s]
  bool initialized_ = false;
  bool enabled_ = false;
};

} // namespace zelmora
