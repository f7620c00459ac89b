// The tags of many files, read by the C++ tag library of Debian.
//
// peer_taglib [--audio] LIST     one path a line; prints how many values were read, and with --audio the seconds of
// audio
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

#include <fileref.h>
#include <tpropertymap.h>

int main(int argc, char** argv) {
  const bool with_audio = argc == 3 && std::string(argv[1]) == "--audio";
  if (argc != (with_audio ? 3 : 2)) {
    std::fputs("usage: peer_taglib [--audio] LIST\n", stderr);
    return 2;
  }
  std::ifstream list(argv[argc - 1]);
  std::uint64_t milliseconds = 0;
  std::size_t values = 0;
  for (std::string path; std::getline(list, path);) {
    const TagLib::FileRef file(path.c_str(), with_audio);
    if (file.isNull()) {
      std::fprintf(stderr, "%s: not read\n", path.c_str());
      return 1;
    }
    for (const auto& property : file.file()->properties()) values += property.second.size();
    if (with_audio) milliseconds += static_cast<std::uint64_t>(file.audioProperties()->lengthInMilliseconds());
  }
  std::printf("%zu values, %.3f s\n", values, static_cast<double>(milliseconds) / 1000);
  return 0;
}
