// The tags of many files, read by the C++ tag library of Debian.
//
// peer_taglib LIST     one path a line; prints how many values were read
#include <cstdio>
#include <fstream>
#include <string>

#include <fileref.h>
#include <tpropertymap.h>

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: peer_taglib LIST\n", stderr);
    return 2;
  }
  std::ifstream list(argv[1]);
  std::size_t values = 0;
  for (std::string path; std::getline(list, path);) {
    // Tags alone: the way of reading properties is another row's affair.
    const TagLib::FileRef file(path.c_str(), false);
    if (file.isNull()) {
      std::fprintf(stderr, "%s: not read\n", path.c_str());
      return 1;
    }
    for (const auto& property : file.file()->properties()) values += property.second.size();
  }
  std::printf("%zu\n", values);
  return 0;
}
