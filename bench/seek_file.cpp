// Seeks in one file: how long the first takes and how long the hundredth, and what is read for each.
//
// seek_file LABEL FILE     prints one line: opening, the first seek, the hundredth, the slowest, the mean of all
//
// A seek is one to a position that was not sought before, and the first chunk behind it. The plug-in is that of `zel`.
#include "frame/input_open.h"
#include "host/host.h"
#include "host/io_statistics.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace {

using namespace zelmora;
using steady = std::chrono::steady_clock;

struct cost {
  double milliseconds = 0;
  std::uint64_t bytes = 0;
};

template <class Work>
cost cost_of(Work&& work) {
  const auto bytes = host::thread_io_statistics().bytes_read;
  const auto start = steady::now();
  work();
  const std::chrono::duration<double, std::milli> took = steady::now() - start;
  return {took.count(), host::thread_io_statistics().bytes_read - bytes};
}

void print(const char* what, const cost& one) {
  std::printf("  %s %.2f ms %.1f KiB", what, one.milliseconds, static_cast<double>(one.bytes) / 1024);
}

void seek_about(const char* label, const char* path) {
  constexpr std::size_t seeks = 100;
  abort_callback_dummy abort;
  service_ptr_t<input_decoder> decoder;
  file_info_impl info;
  const auto opening = cost_of([&] {
    const auto opened = open_input(input_decoder::class_guid, nullptr, path, nullptr, abort);
    decoder = service_extension<input_decoder>(opened.instance.get());
    decoder->get_info(0, info, abort);
    decoder->initialize(0, 0, abort);
  });
  std::mt19937 random(1);
  std::uniform_real_distribution<double> position(0, info.get_length());
  std::vector<cost> costs;
  audio_chunk_impl chunk;
  for (std::size_t i = 0; i < seeks; ++i) {
    const double target = position(random);
    costs.push_back(cost_of([&] {
      decoder->seek(target, abort);
      decoder->run(chunk, abort);
    }));
  }
  cost mean;
  for (const auto& one : costs) {
    mean.milliseconds += one.milliseconds / seeks;
    mean.bytes += one.bytes / seeks;
  }
  std::printf("%-44s", label);
  print("open", opening);
  print("first", costs.front());
  print("hundredth", costs.back());
  print("slowest", *std::ranges::max_element(costs, {}, &cost::milliseconds));
  print("mean", mean);
  std::printf("\n");
}

} // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fputs("usage: seek_file LABEL FILE\n", stderr);
    return 2;
  }
  host::host_instance host(host::host_options{});
  seek_about(argv[1], argv[2]);
  return 0;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "seek_file: %s\n", failure.what());
  return 1;
}
