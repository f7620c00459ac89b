// The bit rate of the last stretch, for display while a track plays.
#pragma once

#include "frame/file_info.h"

namespace zelmora {

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
  void clear_stretch();

  double time_ = 0; ///< since start [s]
  double stretch_seconds_ = 0;
  std::size_t stretch_bits_ = 0;
  double interval_ = 0; ///< [s]
  bool initialized_ = false;
  bool enabled_ = false;
};

} // namespace zelmora
