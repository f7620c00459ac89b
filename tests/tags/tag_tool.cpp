// The tag engine on bare streams, for comparing with other programs' readers and writers.
//
//   tag_tool show FILE...                                    one JSON object a line
//   tag_tool write KINDS FILE NAME=VALUE...                  KINDS: id3v2, id3v1, ape, joined by ","
//   tag_tool remove FILE
#include "frame/text.h"
#include "host/host.h"
#include "tags/tag_processor.h"

#include "frame/filesystem.h"
#include "frame/replaygain_text.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace {

using namespace zelmora;
using nlohmann::json;

file_ptr open_file(const std::string& path, zelmora_io::open_mode mode, abort_callback& abort) {
  file_ptr result;
  zelmora_io::filesystem::g_open(result, path, mode, abort);
  return result;
}

json describe(const std::string& path, abort_callback& abort) {
  json out{{"path", path}, {"meta", json::object()}, {"info", json::object()}};
  const auto source = open_file(path, zelmora_io::open_mode::read, abort);
  file_info_impl info;
  try {
    tag_processor::read(*source, info, abort);
  } catch (const zelmora_io::exception_io_data& failure) {
    out["error"] = failure.what();
  }
  for (std::size_t i = 0; i < info.meta_get_count(); ++i) {
    std::string name = info.meta_enum_name(i);
    for (auto& c : name) c = ascii_lower(c);
    for (std::size_t n = 0; n < info.meta_enum_value_count(i); ++n)
      out["meta"][name].push_back(info.meta_enum_value(i, n));
  }
  for (std::size_t i = 0; i < info.info_get_count(); ++i) out["info"][info.info_enum_name(i)] = info.info_enum_value(i);
  using namespace replaygain_field;
  for (const auto name : {track_gain, track_peak, album_gain, album_peak})
    if (auto text = get_replaygain_field(info.get_replaygain(), name); !text.empty())
      out["meta"][std::string(name)].push_back(text);
  out["head"] = tag_processor::skip_id3v2(*source, abort).size;
  return out;
}

tag_kinds parse_kinds(std::string_view text) {
  auto kinds = tag_kinds::none;
  if (text.find("id3v2") != std::string_view::npos) kinds = kinds | tag_kinds::id3v2;
  if (text.find("id3v1") != std::string_view::npos) kinds = kinds | tag_kinds::id3v1;
  if (text.find("ape") != std::string_view::npos) kinds = kinds | tag_kinds::ape;
  return kinds;
}

void write(const std::vector<std::string>& arguments, abort_callback& abort) {
  file_info_impl info;
  auto gains = info.get_replaygain();
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    const auto equals = arguments[i].find('=');
    const auto name = arguments[i].substr(0, equals);
    const auto value = arguments[i].substr(equals + 1);
    if (!set_replaygain_field(gains, name, value)) info.meta_add(name, value);
  }
  info.set_replaygain(gains);
  auto target = open_file(arguments[1], zelmora_io::open_mode::write_existing, abort);
  tag_processor::write(target, arguments[1], info, parse_kinds(arguments[0]), abort);
}

} // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() < 2) return 2;
  host::host_options options;
  options.plugin_path = "none";
  host::host_instance host(options);
  abort_callback_dummy abort;
  const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
  if (arguments[0] == "show")
    for (const auto& path : rest)
      std::printf("%s\n", describe(path, abort).dump(-1, ' ', false, json::error_handler_t::replace).c_str());
  else if (arguments[0] == "write")
    write(rest, abort);
  else if (arguments[0] == "remove") {
    auto target = open_file(rest[0], zelmora_io::open_mode::write_existing, abort);
    tag_processor::remove_all(target, rest[0], abort);
  } else
    return 2;
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "tag_tool: %s\n", failure.what());
  return 1;
}
