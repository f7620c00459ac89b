// `zel formats`: what can be read.
//
// An entry has no list of what it claims: it only answers yes or no. So every name that is in use is asked for: the
// extensions that the plug-in registers as file types, and the tables below.
#include "cli/json_writer.h"
#include "cli/verbs.h"
#include "frame/component.h"
#include "frame/input.h"
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <fmt/core.h>
#include <fmt/format.h>
#include <set>

namespace zelmora::cli {

namespace {

/// Extensions of audio files and of what carries them, whether or not there is an input for them.
constexpr std::array asked_extensions{
    "3g2",   "3gp",   "8svx",   "aa3",  "aac", "ac3", "adts", "afc",  "aif", "aifc", "aiff", "alac", "amr",
    "ape",   "apl",   "asf",    "asx",  "au",  "awb", "bwf",  "caf",  "cda", "cue",  "dff",  "dsf",  "dts",
    "dtshd", "dtsma", "dtswav", "eac3", "ec3", "f4a", "fla",  "flac", "iff", "it",   "m2ts", "m3u8", "m4a",
    "m4b",   "m4r",   "m4v",    "mac",  "mid", "mka", "mkv",  "mod",  "mov", "mp+",  "mp1",  "mp2",  "mp3",
    "mp4",   "mpa",   "mpc",    "mpga", "mpp", "mts", "oga",  "ogg",  "ogx", "ofr",  "oma",  "opus", "qt",
    "ra",    "rf64",  "rm",     "s3m",  "shn", "snd", "spx",  "svx",  "tak", "ts",   "tta",  "voc",  "w64",
    "wav",   "wave",  "weba",   "webm", "wm",  "wma", "wmv",  "wv",   "wvc", "xm"};

struct scheme_probe {
  const char* scheme;
  const char* path; ///< one that the scheme's input claims, if any does
  const char* extension;
};
constexpr std::array<scheme_probe, 8> asked_schemes{{{"tone://", "tone://440,1", ""},
                                                     {"sweep://", "sweep://20-20000,1", ""},
                                                     {"silence://", "silence://1", ""},
                                                     {"cdda://", "cdda://00000000", ""},
                                                     {"http://", "http://host/a.m3u8", "m3u8"},
                                                     {"https://", "https://host/a.m3u8", "m3u8"},
                                                     {"mms://", "mms://host/a", ""},
                                                     {"rtsp://", "rtsp://host/a", ""}}};

/// Media types in use for audio, registered with IANA or not.
constexpr std::array asked_content_types{"application/flac",
                                         "application/mp4",
                                         "application/mpegurl",
                                         "application/ogg",
                                         "application/vnd.apple.mpegurl",
                                         "application/x-flac",
                                         "application/x-mp4",
                                         "application/x-mpegurl",
                                         "application/x-ogg",
                                         "audio/aac",
                                         "audio/aacp",
                                         "audio/aiff",
                                         "audio/au",
                                         "audio/basic",
                                         "audio/dts",
                                         "audio/flac",
                                         "audio/l16",
                                         "audio/m4a",
                                         "audio/matroska",
                                         "audio/mp3",
                                         "audio/mp4",
                                         "audio/mpeg",
                                         "audio/mpegurl",
                                         "audio/mpg",
                                         "audio/musepack",
                                         "audio/ogg",
                                         "audio/opus",
                                         "audio/snd",
                                         "audio/vnd.wave",
                                         "audio/wav",
                                         "audio/wave",
                                         "audio/wavpack",
                                         "audio/webm",
                                         "audio/x-aac",
                                         "audio/x-aiff",
                                         "audio/x-ape",
                                         "audio/x-au",
                                         "audio/x-basic",
                                         "audio/x-dts",
                                         "audio/x-flac",
                                         "audio/x-m4a",
                                         "audio/x-matroska",
                                         "audio/x-mp3",
                                         "audio/x-mp4",
                                         "audio/x-mpeg",
                                         "audio/x-mpegurl",
                                         "audio/x-mpg",
                                         "audio/x-ms-wma",
                                         "audio/x-musepack",
                                         "audio/x-ogg",
                                         "audio/x-opus",
                                         "audio/x-snd",
                                         "audio/x-wav",
                                         "audio/x-wave",
                                         "audio/x-wavpack",
                                         "video/matroska",
                                         "video/mp2t",
                                         "video/mp4",
                                         "video/webm",
                                         "video/x-mp4",
                                         "video/x-ms-asf",
                                         "video/x-ms-wm",
                                         "video/x-ms-wmv",
                                         "video/x-ms-wmx",
                                         "video/x-ms-wvx",
                                         "video/x_matroska"};

/// In lower case, without the dot.
std::set<std::string> all_extensions() {
  std::set<std::string> result(asked_extensions.begin(), asked_extensions.end());
  for (const auto& type : enumerate_services<input_file_type_entry>()) {
    const auto masks = type->get_mask();
    for (std::size_t start = 0; start < masks.size();) {
      const auto end = std::min(masks.find(';', start), masks.size());
      result.insert(fold_utf8(path_extension(std::string_view(masks).substr(start, end - start))));
      start = end + 1;
    }
  }
  result.erase("");
  return result;
}

input_description describe(input_entry& entry, const std::set<std::string>& extensions) {
  input_description result;
  result.name = entry.get_name();
  if (const auto newer = service_cast<input_entry_v2>(&entry)) result.can_write_tags = newer->can_write_tags();
  for (const auto& extension : extensions)
    if (entry.is_our_path("file." + extension, extension)) result.extensions.push_back(extension);
  for (const auto& probe : asked_schemes)
    if (entry.is_our_path(probe.path, probe.extension)) {
      // An entry that goes by the extension alone is not one of the scheme.
      if (*probe.extension != '\0' && entry.is_our_path(std::string("file.") + probe.extension, probe.extension))
        continue;
      result.schemes.emplace_back(probe.scheme);
    }
  for (const auto* type : asked_content_types)
    if (entry.is_our_content_type(type)) result.content_types.emplace_back(type);
  return result;
}

void append_text(std::string& out, const input_description& input) {
  out += input.name + '\n';
  const auto line = [&](std::string_view label, const std::vector<std::string>& values) {
    if (!values.empty()) out += fmt::format("  {:<15}{}\n", label, fmt::join(values, " "));
  };
  line("extensions", input.extensions);
  line("schemes", input.schemes);
  line("content types", input.content_types);
  line("tags", {input.can_write_tags ? "read and write" : "read only"});
}

} // namespace

exit_status run_formats(const formats_options& options, program_context& context) {
  const auto extensions = all_extensions();
  std::vector<input_description> inputs;
  for (const auto& entry : enumerate_services<input_entry>()) inputs.push_back(describe(*entry, extensions));
  std::ranges::sort(inputs, [](const auto& a, const auto& b) { return stricmp_utf8(a.name, b.name) < 0; });
  for (const auto& input : inputs) {
    std::string text;
    if (options.json)
      append_json(text, input);
    else
      append_text(text, input);
    context.out.write(text);
  }
  return exit_status::done;
}

} // namespace zelmora::cli
