// The configuration blob on the disk.
#pragma once

#include "frame/client.h"

#include <cstddef>
#include <string>
#include <vector>

namespace zelmora::host {

/// Keeps one module's blob in a file. A file that can't be read or isn't a blob counts as absent, with a line on the
/// console; before it is written over, it is put aside under its name and ".damaged".
class config_store {
 public:
  config_store(const std::string& directory, zelmora_client& client);

  void load(abort_callback& abort);
  /// Replaces the file in one step; nothing is written when nothing has changed.
  void save(abort_callback& abort);
  const std::string& path() const noexcept { return path_; }

 private:
  std::string directory_;
  std::string path_;
  zelmora_client& client_;
  std::vector<std::byte> stored_; ///< what the file holds, as far as this process knows
  bool damaged_ = false;
};

} // namespace zelmora::host
