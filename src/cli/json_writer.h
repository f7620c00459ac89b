// What programs read: one JSON object a line (RFC 8259). Text that is no UTF-8 gets replacement characters; a path that
// is none stands beside it in base64, byte for byte.
#pragma once

#include "cli/tag_edit.h"
#include "frame/context_command.h"
#include "frame/file_info.h"
#include "host/io_statistics.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora::cli {

struct subsong_description {
  std::uint32_t subsong = 0;
  file_info_impl info;
};

/// What `info` tells of a path.
struct media_description {
  std::string_view path;
  std::string_view input;
  std::optional<std::uint64_t> size; ///< [bytes]
  std::vector<subsong_description> subsongs;
  std::vector<std::string> warnings;
  std::optional<host::io_statistics> io;
};

struct seek_results {
  std::uint64_t tried = 0;
  std::uint64_t exact = 0;
  double max_abs_diff = 0;
};

/// What `verify` tells of a subsong.
struct verify_description {
  std::string_view path;
  std::uint32_t subsong = 0;
  std::uint64_t samples = 0; ///< per channel
  std::uint32_t sample_rate = 0;
  std::uint32_t channels = 0;
  std::string pcm_md5;
  std::vector<std::string> warnings;
  std::optional<seek_results> seeks;
  bool ok = true;
};

struct input_description {
  std::string name;
  std::vector<std::string> extensions;
  std::vector<std::string> schemes;
  std::vector<std::string> content_types;
  bool can_write_tags = false; ///< those of some files; never the samples
};

struct setting_description {
  std::string key;
  std::string label;
  std::string kind;
  std::string value;
  std::string default_value;
  std::vector<std::string> branch; ///< labels from the root down
};

/// What an edit of tags does to a file.
struct tag_change_description {
  struct subsong_changes {
    std::uint32_t subsong = 0;
    std::vector<field_change> changes;
  };

  std::string_view path;
  std::vector<subsong_changes> subsongs;
  bool is_changed = false;
  bool is_dry_run = false;
};

/// Each appends a whole line.
void append_json(std::string& out, const media_description& media);
void append_json(std::string& out, const verify_description& result);
void append_json(std::string& out, const input_description& input);
void append_json(std::string& out, const setting_description& setting);
void append_json(std::string& out, const tag_change_description& file);
void append_json(std::string& out, const context_command_description& command);
/// The fields and gains of each subsong, and nothing else.
void append_tags_json(std::string& out, const media_description& media);
/// The object of a path that failed; `subsong` where only that one did.
void append_json_error(std::string& out, std::string_view path, std::optional<std::uint32_t> subsong,
                       const std::exception& failure);

} // namespace zelmora::cli
