// WAV files of other codecs than PCM, from sources that can't go back.
#include "pcm_test_support.h"
#include "support/faulty_file.h"

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_object_not_seekable;

class WavCodecStream : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(WavCodecStream, seeks_forward_by_any_distance) {
  const auto fixture = "wav_codecs/" + GetParam().at(0);
  const auto linear = test_decoder(fixture_file(fixture)).decode();
  file_faults faults;
  faults.no_seek = true;
  for (const std::size_t distance : {0u, 1u, 500u, 1500u, 3000u}) {
    test_decoder wav(make_faulty_file(fixture_file(fixture), faults));
    wav.decoder->initialize(0, 0, wav.abort);
    audio_chunk_impl chunk;
    ASSERT_TRUE(wav.decoder->run(chunk, wav.abort));
    const auto target = std::min(chunk.get_sample_count() + distance, linear.frames());
    wav.decoder->seek(audio_math::samples_to_time(target, linear.rate), wav.abort);
    // Once more, before anything is decoded there.
    const auto further = std::min(target + distance, linear.frames());
    const auto rest = wav.decode_from(further, linear.rate);
    EXPECT_TRUE(std::ranges::equal(rest.samples, linear.from(further))) << distance;
    EXPECT_THROW(wav.decoder->seek(0, wav.abort), exception_io_object_not_seekable);
  }
}

TEST_P(WavCodecStream, beyond_the_end_is_the_end) {
  test_decoder wav(fixture_file("wav_codecs/" + GetParam().at(0)));
  wav.decoder->initialize(0, 0, wav.abort);
  for (const double seconds : {100.0, 1e12, 4e14, 1e300}) {
    wav.decoder->seek(seconds, wav.abort);
    EXPECT_EQ(decode_to_end(*wav.decoder, wav.abort).frames(), 0u) << seconds;
  }
  wav.decoder->seek(0, wav.abort);
  EXPECT_NE(decode_to_end(*wav.decoder, wav.abort).frames(), 0u);
}

INSTANTIATE_TEST_SUITE_P(files, WavCodecStream, testing::ValuesIn(load_fixture_table("wav_codecs/expected_pcm.tsv")),
                         [](const auto& tested) { return tested.param.at(0).substr(0, tested.param.at(0).find('.')); });

} // namespace
} // namespace zelmora::test
