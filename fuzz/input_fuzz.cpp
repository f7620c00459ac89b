#include "input_fuzz.h"

#include "verdict.h"

#include "frame/exceptions.h"
#include "frame/input_open.h"
#include "frame/memory_file.h"
#include "support/faulty_file.h"
#include "support/test_services.h"

#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <vector>

namespace zelmora::fuzz {

using namespace zelmora_io;

namespace {

/// Decoding stops here [samples over all channels]: a small file of a packed format may hold hours.
constexpr std::size_t max_samples = 300'000;

struct decoded {
  std::vector<audio_sample> samples;
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
  bool is_whole = false;
  bool is_of_one_format = true;
};

decoded decode(input_decoder& decoder, abort_callback& abort) {
  decoded result;
  audio_chunk_impl chunk;
  while (result.samples.size() < max_samples) {
    if (!decoder.run(chunk, abort)) {
      if (decoder.run(chunk, abort)) throw violation{"a chunk behind the end"};
      result.is_whole = true;
      break;
    }
    // Streams may have more channels than a chunk can carry; hosts reject those.
    if (!chunk.is_valid() && chunk.get_channels() <= audio_chunk::max_channels) throw violation{"an invalid chunk"};
    if (result.channels == 0) {
      result.rate = chunk.get_srate();
      result.channels = chunk.get_channels();
    }
    if (chunk.get_srate() != result.rate || chunk.get_channels() != result.channels) result.is_of_one_format = false;
    const auto samples = chunk.samples();
    result.samples.insert(result.samples.end(), samples.begin(), samples.end());
  }
  return result;
}

bool same_bits(audio_sample a, audio_sample b) {
  return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

void check_seeks(input_decoder& decoder, const decoded& linear, abort_callback& abort) {
  // Where the format changes there is no time that a number of samples stands for.
  if (linear.channels == 0 || !linear.is_whole || !linear.is_of_one_format) return;
  const auto frames = linear.samples.size() / linear.channels;
  for (const auto target : {frames / 3, frames, std::size_t{0}}) {
    decoder.seek(audio_math::samples_to_time(target, linear.rate), abort);
    const auto rest = decode(decoder, abort);
    const auto wanted = std::span(linear.samples).subspan(target * linear.channels);
    if (!std::ranges::equal(rest.samples, wanted, same_bits))
      throw violation{fmt::format("a seek to {} of {} differs from the decode from the start", target, frames)};
  }
  decoder.seek(1e300, abort);
}

void run_once(file_ptr file, std::string_view path) {
  abort_callback_dummy abort;
  const auto opened = open_input(input_decoder::class_guid, std::move(file), path, nullptr, abort);
  const auto decoder = service_extension<input_decoder>(opened.instance.get());
  const auto subsongs = std::min(decoder->get_subsong_count(), 4u);
  for (std::uint32_t i = 0; i < subsongs; ++i) {
    const auto subsong = decoder->get_subsong(i);
    file_info_impl info;
    decoder->get_info(subsong, info, abort);
    decoder->initialize(subsong, 0, abort);
    const auto linear = decode(*decoder, abort);
    // Damage may leave nothing but another format than what is told, and then times count other samples.
    const bool is_as_told = linear.rate == info.info_get_wfx().rate;
    if (decoder->can_seek() && is_as_told) check_seeks(*decoder, linear, abort);
  }
}

} // namespace

std::string check_input(std::span<const std::byte> data, std::string_view path) {
  test::attach_own_services();
  // What inputs remember of a path must not be of other data.
  static std::uint64_t number = 0;
  const auto own_path = fmt::format("{}-{}", ++number, path);
  test::file_faults no_size;
  no_size.no_size = true;
  test::file_faults stream;
  stream.no_seek = true;
  test::file_faults pipe;
  pipe.no_size = pipe.no_seek = true;
  for (const auto& faults : {test::file_faults{}, no_size, stream, pipe}) {
    const auto wrong = verdict_of([&] {
      try {
        run_once(test::make_faulty_file(service_new<memory_file>(data), faults), own_path);
      } catch (const exception_io&) {
        // Foreign or damaged data: what the contract of inputs says.
      }
    });
    if (!wrong.empty()) return wrong;
  }
  return {};
}

int run_input_target(const std::uint8_t* data, std::size_t size, std::string_view path) {
  return run_check(data, size, [path](std::span<const std::byte> bytes) { return check_input(bytes, path); });
}

} // namespace zelmora::fuzz
