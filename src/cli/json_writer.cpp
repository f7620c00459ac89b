// The one source that knows the JSON library.
#include "cli/json_writer.h"

#include "frame/exceptions.h"
#include "frame/text.h"

#include <algorithm>
#include <fmt/core.h>
#include <nlohmann/json.hpp>

namespace zelmora::cli {

std::string gain_text(float gain) { return fmt::format("{:+.2f} dB", gain); }
std::string peak_text(float peak) { return fmt::format("{:.6f}", peak); }

namespace {

using json = nlohmann::ordered_json;

void append_line(std::string& out, const json& object) {
  out += object.dump(-1, ' ', false, json::error_handler_t::replace);
  out += '\n';
}

json length_json(double length) { return length < 0 ? json() : json(length); }

json technical_json(const file_info& info) {
  auto result = json::object();
  for (std::size_t i = 0; i < info.info_get_count(); ++i) result[info.info_enum_name(i)] = info.info_enum_value(i);
  return result;
}

json meta_json(const file_info& info) {
  auto result = json::object();
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) {
    auto name = info.meta_enum_name(i);
    std::ranges::transform(name, name.begin(), ascii_lower);
    auto& values = result[name];
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n) values.push_back(info.meta_enum_value(i, n));
  }
  return result;
}

json gains_json(const replaygain_info& gains) {
  auto result = json::object();
  if (gains.is_track_gain_set()) result["track_gain"] = gain_text(gains.track_gain);
  if (gains.is_track_peak_set()) result["track_peak"] = peak_text(gains.track_peak);
  if (gains.is_album_gain_set()) result["album_gain"] = gain_text(gains.album_gain);
  if (gains.is_album_peak_set()) result["album_peak"] = peak_text(gains.album_peak);
  return result;
}

} // namespace

void append_json(std::string& out, const media_description& media) {
  auto subsongs = json::array();
  for (const auto& entry : media.subsongs) {
    subsongs.push_back({{"subsong", entry.subsong},
                        {"length", length_json(entry.info.get_length())},
                        {"info", technical_json(entry.info)},
                        {"meta", meta_json(entry.info)},
                        {"replaygain", gains_json(entry.info.get_replaygain())}});
  }
  json object{{"path", media.path},
              {"input", media.input},
              {"size", media.size ? json(*media.size) : json()},
              {"subsongs", std::move(subsongs)},
              {"pictures", json::array()},
              {"warnings", media.warnings}};
  if (media.io)
    object["io"] = {{"reads", media.io->reads},
                    {"bytes_read", media.io->bytes_read},
                    {"seeks", media.io->seeks},
                    {"writes", media.io->writes},
                    {"bytes_written", media.io->bytes_written}};
  append_line(out, object);
}

void append_json(std::string& out, const verify_description& result) {
  json object{{"path", result.path},         {"subsong", result.subsong},
              {"samples", result.samples},   {"sample_rate", result.sample_rate},
              {"channels", result.channels}, {"pcm_md5", result.pcm_md5},
              {"warnings", result.warnings}};
  if (result.seeks)
    object["seeks"] = {
        {"tried", result.seeks->tried}, {"exact", result.seeks->exact}, {"max_abs_diff", result.seeks->max_abs_diff}};
  object["ok"] = result.ok;
  append_line(out, object);
}

void append_json(std::string& out, const input_description& input) {
  append_line(out, {{"name", input.name},
                    {"extensions", input.extensions},
                    {"schemes", input.schemes},
                    {"content_types", input.content_types}});
}

void append_json(std::string& out, const setting_description& setting) {
  append_line(out, {{"key", setting.key},
                    {"label", setting.label},
                    {"kind", setting.kind},
                    {"value", setting.value},
                    {"default", setting.default_value},
                    {"branch", setting.branch}});
}

void append_json_error(std::string& out, std::string_view path, std::optional<std::uint32_t> subsong,
                       const std::exception& failure) {
  json object{{"path", path}};
  if (subsong) object["subsong"] = *subsong;
  object["error"] = {{"type", exception_class_name(failure)}, {"message", failure.what()}};
  append_line(out, object);
}

} // namespace zelmora::cli
