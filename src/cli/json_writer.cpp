// The one source that knows the JSON library.
#include "cli/json_writer.h"

#include "frame/exceptions.h"
#include "frame/replaygain_text.h"
#include "frame/text.h"

#include <algorithm>
#include <concepts>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zelmora::cli {

namespace {

/// Writes one object, member by member, straight into the text: documents as trees cost several times what it takes to
/// describe a small file. What is hard about JSON, strings with anything but plain ASCII and the shortest form of a
/// number, is the library's.
class object_writer {
 public:
  explicit object_writer(std::string& out) : out_(out) { open('{'); }

  /// Member names are the program's own or field names: both go through `string`.
  object_writer& key(std::string_view name) {
    separate();
    append_string(name);
    out_ += ':';
    separated_ = true;
    return *this;
  }
  void string(std::string_view text) {
    separate();
    append_string(text);
  }
  template <std::integral T>
  void number(T value) {
    separate();
    const fmt::format_int digits(value);
    out_.append(digits.data(), digits.size());
  }
  void number(double value) {
    separate();
    out_ += nlohmann::json(value).dump();
  }
  void boolean(bool value) {
    separate();
    out_ += value ? "true" : "false";
  }
  void null() {
    separate();
    out_ += "null";
  }
  void strings(const std::vector<std::string>& texts) {
    open('[');
    for (const auto& text : texts) string(text);
    close(']');
  }
  void open(char bracket) {
    separate();
    out_ += bracket;
    separated_ = true;
  }
  void close(char bracket) {
    out_ += bracket;
    separated_ = false;
  }
  void finish() {
    close('}');
    out_ += '\n';
  }

 private:
  void separate() {
    if (!separated_) out_ += ',';
    separated_ = false;
  }

  void append_string(std::string_view text) {
    const bool plain = std::ranges::all_of(text, [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; });
    if (plain) {
      out_ += '"';
      out_ += text;
      out_ += '"';
    } else {
      out_ += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    }
  }

  std::string& out_;
  bool separated_ = true; ///< nothing stands before the next value that a comma must part it from
};

/// RFC 4648, section 4: the common alphabet, with padding.
std::string base64(std::string_view bytes) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string result;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto group = bytes.substr(i, 3);
    std::uint32_t bits = 0;
    for (std::size_t n = 0; n < 3; ++n)
      bits = bits << 8 | (n < group.size() ? static_cast<unsigned char>(group[n]) : 0u);
    for (std::size_t n = 0; n < 4; ++n) result += n > group.size() ? '=' : alphabet[bits >> (18 - 6 * n) & 0x3F];
  }
  return result;
}

void write_path(object_writer& json, std::string_view path) {
  json.key("path").string(path);
  if (!is_valid_utf8(path)) json.key("path_base64").string(base64(path));
}

void write_technical(object_writer& json, const file_info& info) {
  json.key("info").open('{');
  for (std::size_t i = 0; i < info.info_get_count(); ++i)
    json.key(info.info_enum_name(i)).string(info.info_enum_value(i));
  json.close('}');
}

std::string lower_case(std::string name) {
  std::ranges::transform(name, name.begin(), ascii_lower);
  return name;
}

void write_meta(object_writer& json, const file_info& info) {
  json.key("meta").open('{');
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) {
    json.key(lower_case(info.meta_enum_name(i))).open('[');
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n) json.string(info.meta_enum_value(i, n));
    json.close(']');
  }
  json.close('}');
}

void write_gains(object_writer& json, const replaygain_info& gains) {
  json.key("replaygain").open('{');
  if (gains.is_track_gain_set()) json.key("track_gain").string(format_gain(gains.track_gain));
  if (gains.is_track_peak_set()) json.key("track_peak").string(format_peak(gains.track_peak));
  if (gains.is_album_gain_set()) json.key("album_gain").string(format_gain(gains.album_gain));
  if (gains.is_album_peak_set()) json.key("album_peak").string(format_peak(gains.album_peak));
  json.close('}');
}

void write_subsong(object_writer& json, const subsong_description& entry) {
  json.open('{');
  json.key("subsong").number(std::uint64_t{entry.subsong});
  json.key("length");
  if (entry.info.get_length() < 0)
    json.null();
  else
    json.number(entry.info.get_length());
  write_technical(json, entry.info);
  write_meta(json, entry.info);
  write_gains(json, entry.info.get_replaygain());
  json.close('}');
}

void write_io(object_writer& json, const host::io_statistics& io) {
  json.key("io").open('{');
  json.key("reads").number(io.reads);
  json.key("bytes_read").number(io.bytes_read);
  json.key("seeks").number(io.seeks);
  json.key("writes").number(io.writes);
  json.key("bytes_written").number(io.bytes_written);
  json.close('}');
}

} // namespace

void append_json(std::string& out, const media_description& media) {
  object_writer json(out);
  write_path(json, media.path);
  json.key("input").string(media.input);
  json.key("size");
  if (media.size)
    json.number(*media.size);
  else
    json.null();
  json.key("subsongs").open('[');
  for (const auto& entry : media.subsongs) write_subsong(json, entry);
  json.close(']');
  json.key("pictures").strings({});
  json.key("warnings").strings(media.warnings);
  if (media.io) write_io(json, *media.io);
  json.finish();
}

void append_json(std::string& out, const verify_description& result) {
  object_writer json(out);
  write_path(json, result.path);
  json.key("subsong").number(std::uint64_t{result.subsong});
  json.key("samples").number(result.samples);
  json.key("sample_rate").number(std::uint64_t{result.sample_rate});
  json.key("channels").number(std::uint64_t{result.channels});
  json.key("pcm_md5").string(result.pcm_md5);
  json.key("warnings").strings(result.warnings);
  if (result.seeks) {
    json.key("seeks").open('{');
    json.key("tried").number(result.seeks->tried);
    json.key("exact").number(result.seeks->exact);
    json.key("max_abs_diff").number(result.seeks->max_abs_diff);
    json.close('}');
  }
  json.key("ok").boolean(result.ok);
  json.finish();
}

void append_json(std::string& out, const input_description& input) {
  object_writer json(out);
  json.key("name").string(input.name);
  json.key("extensions").strings(input.extensions);
  json.key("schemes").strings(input.schemes);
  json.key("content_types").strings(input.content_types);
  json.key("can_write_tags").boolean(input.can_write_tags);
  json.finish();
}

void append_json(std::string& out, const setting_description& setting) {
  object_writer json(out);
  json.key("key").string(setting.key);
  json.key("label").string(setting.label);
  json.key("kind").string(setting.kind);
  json.key("value").string(setting.value);
  json.key("default").string(setting.default_value);
  json.key("branch").strings(setting.branch);
  json.finish();
}

void append_json(std::string& out, const tag_change_description& file) {
  object_writer json(out);
  write_path(json, file.path);
  json.key("changed").boolean(file.is_changed);
  json.key("dry_run").boolean(file.is_dry_run);
  json.key("subsongs").open('[');
  for (const auto& entry : file.subsongs) {
    json.open('{');
    json.key("subsong").number(std::uint64_t{entry.subsong});
    json.key("changes").open('[');
    for (const auto& change : entry.changes) {
      json.open('{');
      json.key("name").string(lower_case(change.name));
      json.key("old").strings(change.old_values);
      json.key("new").strings(change.new_values);
      json.close('}');
    }
    json.close(']');
    json.close('}');
  }
  json.close(']');
  json.finish();
}

namespace {

void write_field(object_writer& json, const dialog_field& field) {
  json.open('{');
  json.key("option").string(field.option);
  json.key("label").string(field.label);
  json.key("help").string(field.help);
  json.key("kind").string(field_kind_name(field.kind));
  if (field.kind == field_kind::number) {
    json.key("least").number(field.least);
    json.key("most").number(field.most);
  }
  if (!field.choices.empty()) {
    json.key("choices").open('[');
    for (const auto& choice : field.choices) json.string(choice.name);
    json.close(']');
  }
  json.key("required").boolean(field.unset.empty() && std::holds_alternative<std::monostate>(field.value));
  json.close('}');
}

} // namespace

void append_json(std::string& out, const context_command_description& command) {
  object_writer json(out);
  json.key("group").string(command.group);
  json.key("name").string(command.name);
  json.key("help").string(command.help);
  json.key("fields").open('[');
  for (const auto& field : command.fields) write_field(json, field);
  json.close(']');
  json.finish();
}

void append_tags_json(std::string& out, const media_description& media) {
  object_writer json(out);
  write_path(json, media.path);
  json.key("subsongs").open('[');
  for (const auto& entry : media.subsongs) {
    json.open('{');
    json.key("subsong").number(std::uint64_t{entry.subsong});
    write_meta(json, entry.info);
    write_gains(json, entry.info.get_replaygain());
    json.close('}');
  }
  json.close(']');
  json.finish();
}

void append_json_error(std::string& out, std::string_view path, std::optional<std::uint32_t> subsong,
                       const std::exception& failure) {
  object_writer json(out);
  write_path(json, path);
  if (subsong) json.key("subsong").number(std::uint64_t{*subsong});
  json.key("error").open('{');
  json.key("type").string(exception_class_name(failure));
  json.key("message").string(failure.what());
  json.close('}');
  json.finish();
}

} // namespace zelmora::cli
