#include "cli/zel_process.h"

#include <chrono>
#include <cmath>
#include <csignal>
#include <sys/stat.h>
#include <thread>

namespace zelmora::test {

namespace {

using Decode = ZelTest;

/// The values at which widths and roundings show: ties on both sides, full scale, beyond it, and what is no number.
std::vector<float> telling_samples() {
  const float step16 = 1.0f / 32768;
  const float step24 = 1.0f / 8388608;
  return {0.0f,           0.5f * step16,  1.5f * step16, 2.5f * step16, -0.5f * step16, -1.5f * step16,
          0.49f * step16, 0.51f * step16, 0.5f * step24, 1.5f * step24, -2.5f * step24, 0.25f,
          -1.0f,          1.0f,           1.5f,          -7.0f,         INFINITY,       -INFINITY};
}

/// Rounded to nearest, ties to even, and clamped; no number is silence.
std::vector<std::int64_t> as_integers(const std::vector<float>& samples, unsigned bits) {
  const double scale = std::ldexp(1.0, static_cast<int>(bits) - 1);
  std::vector<std::int64_t> result;
  for (const auto sample : samples) {
    const auto value = std::isnan(sample) ? 0.0 : std::min(std::max(sample * scale, -scale), scale - 1);
    result.push_back(static_cast<std::int64_t>(std::nearbyint(value)));
  }
  return result;
}

TEST_F(Decode, HeaderlessFormatsHoldTheSamples) {
  const auto samples = telling_samples();
  write("a.wav", float_wav(samples, 8000, 2));
  for (const unsigned bits : {16u, 24u, 32u}) {
    const auto format = "s" + std::to_string(bits);
    EXPECT_EQ(zel({"decode", "--format", format, "-o", "out", "a.wav"}).status, 0);
    EXPECT_EQ(integers_of(read("out"), bits / 8), as_integers(samples, bits)) << format;
    EXPECT_EQ(zel({"decode", "--format", format, "-o", "-", "a.wav"}).out, read("out"));
  }
  EXPECT_EQ(zel({"decode", "--format", "f32", "-o", "out", "a.wav"}).status, 0);
  EXPECT_EQ(floats_of(read("out")), samples);
}

TEST_F(Decode, WhatIsNoNumberIsSilenceInIntegers) {
  // In every place of a vector of the processor.
  std::vector<float> samples;
  for (int i = 0; i < 40; ++i) samples.push_back(i % 3 == 0 ? NAN : i % 3 == 1 ? -NAN : 0.5f);
  write("a.wav", float_wav(samples, 8000, 2));
  for (const unsigned bits : {16u, 24u, 32u})
    EXPECT_EQ(integers_of(zel({"decode", "--format", "s" + std::to_string(bits), "-o", "-", "a.wav"}).out, bits / 8),
              as_integers(samples, bits))
        << bits;
}

TEST_F(Decode, AWavFileOfEachWidthReadsBack) {
  const auto samples = ramp(3001);
  write("a.wav", float_wav(samples, 8000, 1));
  for (const std::string bits : {"", "16", "24", "32"}) {
    std::vector<std::string> arguments{"decode", "-o", "out.wav", "a.wav"};
    if (!bits.empty()) arguments.insert(arguments.end(), {"--bits", bits});
    ASSERT_EQ(zel(arguments).status, 0) << bits;
    // The sample count of the ramp is odd: 24-bit data has a byte of padding, which is not audio.
    EXPECT_EQ(read("out.wav").size() % 2, 0u);
    const auto info = json_lines_of(zel({"info", "--json", "out.wav"}).out).at(0);
    EXPECT_EQ(info["warnings"].size(), 0u) << info;
    EXPECT_EQ(info["subsongs"][0]["info"]["bitspersample"], bits.empty() ? "32" : bits);
    const auto back = floats_of(zel({"decode", "--format", "f32", "-o", "-", "out.wav"}).out);
    ASSERT_EQ(back.size(), samples.size());
    const double half_step = bits == "16" ? 1.0 / 65536 : 0;
    for (std::size_t i = 0; i < back.size(); ++i) ASSERT_NEAR(back[i], samples[i], half_step) << bits << " at " << i;
  }
}

TEST_F(Decode, AStreamBeginsWithTheSizesOfTheFile) {
  write("a.wav", float_wav(ramp(777)));
  ASSERT_EQ(zel({"decode", "-o", "file.wav", "a.wav"}).status, 0);
  EXPECT_EQ(zel({"decode", "-o", "-", "a.wav"}).out, read("file.wav"));
  // As for "zel decode -o - a.wav >stream.wav"
  EXPECT_EQ(zel({"decode", "-o", "-", "a.wav"}, {.output_path = path("stream.wav")}).status, 0);
  EXPECT_EQ(read("stream.wav"), read("file.wav"));
}

struct range_case {
  const char* name;
  std::vector<std::string> options;
  std::size_t first;
  std::size_t count;
};

class DecodeRange : public ZelTest, public testing::WithParamInterface<range_case> {};

TEST_P(DecodeRange, IsCutToTheSample) {
  const auto all = ramp(8000);
  write("a.wav", float_wav(all));
  std::vector<std::string> arguments{"decode", "--format", "f32", "-o", "-", "a.wav"};
  arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
  const auto result = zel(arguments);
  EXPECT_EQ(result.status, 0);
  const auto first = all.begin() + static_cast<std::ptrdiff_t>(GetParam().first);
  EXPECT_EQ(floats_of(result.out), std::vector<float>(first, first + static_cast<std::ptrdiff_t>(GetParam().count)));
  arguments[2] = "wav";
  const auto wav = zel(arguments).out;
  EXPECT_EQ(floats_of(std::string_view(wav).substr(wav.find("data") + 8)), floats_of(result.out));
  EXPECT_EQ(load_le<std::uint32_t>(wav.data() + 4), wav.size() - 8);
}

INSTANTIATE_TEST_SUITE_P(
    All, DecodeRange,
    testing::Values(range_case{"Whole", {}, 0, 8000}, range_case{"OneSampleIn", {"--start", "0.000125"}, 1, 7999},
                    range_case{"Inside", {"--start", "0.5", "--length", "0.25"}, 4000, 2000},
                    range_case{"OneSample", {"--start", "0.5", "--length", "0.000125"}, 4000, 1},
                    range_case{"RoundedToNearest", {"--start", "0.00018"}, 1, 7999},
                    range_case{"AsAClockShowsIt", {"--start", "0:00.500", "--length", "0:00:00.25"}, 4000, 2000},
                    range_case{"LongerThanThereIs", {"--start", "0.9", "--length", "10"}, 7200, 800},
                    range_case{"PastTheEnd", {"--start", "1.5"}, 8000, 0},
                    range_case{"NoLength", {"--length", "0"}, 0, 0}),
    [](const auto& row) { return row.param.name; });

TEST_F(Decode, StartsAreReadAsClocksToo) {
  const auto from = [&](const std::string& start) {
    return zel({"decode", "sweep://20-2000,4000", "-o", "-", "--format", "f32", "--length", "0.01", "--start", start})
        .out;
  };
  const auto wanted = from("3723.25");
  EXPECT_EQ(wanted.size(), 441u * 4);
  for (const auto* start : {"1:02:03.25", "62:03.250", "01:02:03.25"}) EXPECT_TRUE(from(start) == wanted) << start;
  EXPECT_FALSE(from("1:02:03.26") == wanted);
}

TEST_F(Decode, AnEmptyOutputIsExplained) {
  write("a.wav", float_wav(ramp(8000)));
  for (const auto* start : {"1", "1.5", "2:00"}) {
    const auto result = zel({"decode", "-o", "out.wav", "--start", start, "a.wav"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "zel: a.wav: warning: it ends before --start\n") << start;
  }
  EXPECT_EQ(zel({"decode", "-o", "out.wav", "--start", "0.5", "--length", "0", "a.wav"}).err, "");
  EXPECT_EQ(zel({"decode", "-o", "out.wav", "--start", "0.9999", "a.wav"}).err, "");
}

TEST_F(Decode, GeneratorsGiveWhatTheirPathSays) {
  EXPECT_EQ(zel({"decode", "tone://1000,1", "-o", "-", "--format", "f32"}).out.size(), 44100u * 4);
  EXPECT_EQ(zel({"decode", "silence://1,8000,3", "-o", "-", "--format", "s16"}).out, std::string(8000 * 3 * 2, '\0'));
  EXPECT_EQ(zel({"decode", "sweep://20-2000,2", "-o", "-", "--format", "s24"}).out.size(), 2u * 44100 * 3);
  EXPECT_EQ(zel({"decode", "tone://1000", "--length", "0.5", "-o", "-", "--format", "s16"}).out.size(), 22050u * 2);
}

TEST_F(Decode, EndlessToneNeedsALength) {
  const auto result = zel({"decode", "tone://1000", "-o", "out.wav"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "zel: tone://1000: It has no end: --length says where to stop\n");
  EXPECT_EQ(names(), std::vector<std::string>());
}

TEST_F(Decode, ManyChannelsHaveTheirMask) {
  ASSERT_EQ(zel({"decode", "silence://0.1,8000,6", "-o", "out.wav"}).status, 0);
  const auto wav = read("out.wav");
  EXPECT_EQ(load_le<std::uint16_t>(wav.data() + 20), 0xFFFE);
  EXPECT_EQ(load_le<std::uint32_t>(wav.data() + 40), 0x3Fu);
}

TEST_F(Decode, DirectoriesTakeOneFileForEachPath) {
  ASSERT_EQ(::mkdir(path("in").c_str(), 0777), 0);
  ASSERT_EQ(::mkdir(path("out").c_str(), 0777), 0);
  write("in/one.wav", float_wav(ramp(10)));
  write("in/two.WAV", float_wav(ramp(20)));
  write("one.aif.wav", float_wav(ramp(30)));
  const auto result = zel({"decode", "-j", "3", "--format", "f32", "-o", "out", "in/one.wav", "no.wav", "in/two.WAV",
                           "one.aif.wav", "tone://440,0.01", "one.wav"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: no.wav: Object not found\n"
                        "zel: one.wav: Its output out/one.f32 is that of in/one.wav\n");
  std::vector<std::string> made;
  for (const auto& entry : std::filesystem::directory_iterator(path("out"))) made.push_back(entry.path().filename());
  std::sort(made.begin(), made.end());
  EXPECT_EQ(made, (std::vector<std::string>{"one.aif.f32", "one.f32", "tone-440,0.01.f32", "two.f32"}));
  EXPECT_EQ(floats_of(read("out/one.f32")), ramp(10));
  EXPECT_EQ(floats_of(read("out/one.aif.f32")), ramp(30));
}

TEST_F(Decode, OutputsMayHaveAScheme) {
  ASSERT_EQ(::mkdir(path("out").c_str(), 0777), 0);
  const auto wav = float_wav(ramp(10));
  write("a.wav", wav);
  EXPECT_EQ(zel({"decode", "--format", "f32", "-o", "file://" + path("out"), "a.wav"}).status, 0);
  EXPECT_EQ(floats_of(read("out/a.f32")), ramp(10));
  EXPECT_EQ(zel({"decode", "--format", "f32", "-o", "FILE://" + path("one"), "a.wav"}).status, 0);
  EXPECT_EQ(floats_of(read("one")), ramp(10));
  EXPECT_EQ(zel({"decode", "-o", "file://" + path("a.wav"), "a.wav"}).status, 1);
  EXPECT_EQ(zel({"decode", "-o", ".", "File://" + path("a.wav")}).status, 1);
  EXPECT_EQ(read("a.wav"), wav);
  const auto relative = zel({"decode", "-o", "file://out", "a.wav"});
  EXPECT_EQ(relative.status, 2);
  EXPECT_TRUE(relative.err.starts_with("zel: -o file://out: ")) << relative.err;
}

TEST_F(Decode, SourcesAreNeverWrittenOver) {
  const auto wav = float_wav(ramp(10));
  write("a.wav", wav);
  ASSERT_EQ(::symlink("a.wav", path("link.wav").c_str()), 0);
  ASSERT_EQ(::link(path("a.wav").c_str(), path("hard.wav").c_str()), 0);
  for (const std::string output : {"a.wav", "./a.wav", "link.wav", "hard.wav", "."}) {
    const auto result = zel({"decode", "-o", output, "a.wav"});
    EXPECT_EQ(result.status, 1) << output;
    EXPECT_TRUE(result.err.starts_with("zel: a.wav: ")) << result.err;
  }
  // The second source stands where the first would go.
  ASSERT_EQ(::mkdir(path("in").c_str(), 0777), 0);
  write("in/a.wav", float_wav(ramp(20)));
  EXPECT_EQ(zel({"decode", "-o", ".", "in/a.wav", "a.wav"}).status, 1);
  EXPECT_EQ(read("a.wav"), wav);
}

TEST_F(Decode, AnOldFileStandsUntilTheNewOneIsWhole) {
  write("out.wav", "old");
  write("cut.wav", std::string(100, 'x'));
  EXPECT_EQ(zel({"decode", "-o", "out.wav", "cut.wav"}).status, 1);
  EXPECT_EQ(read("out.wav"), "old");
  EXPECT_EQ(zel({"decode", "-o", "out.wav", "tone://440,0.1"}).status, 0);
  EXPECT_GT(read("out.wav").size(), 4410u * 4);
  EXPECT_EQ(names(), (std::vector<std::string>{"cut.wav", "out.wav"}));
}

TEST_F(Decode, OutputsThatFailAreNamed) {
  struct row {
    std::string output;
    std::string line;
  };
  for (const auto& r : {row{"/dev/full", "zel: /dev/full: Device full\n"},
                        row{"no/such/out.wav", "zel: no/such/out.wav: Object not found\n"}}) {
    const auto result = zel({"decode", "-o", r.output, "tone://440,10"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, r.line);
  }
  EXPECT_EQ(zel({"decode", "-o", "-", "tone://440,10"}, {.output_path = "/dev/full"}).err,
            "zel: standard output: Device full\n");
}

TEST_F(Decode, DevicesAreWrittenToAndNotReplaced) {
  EXPECT_EQ(zel({"decode", "-o", "/dev/null", "tone://440,1"}).status, 0);
  EXPECT_TRUE(S_ISCHR(status_of("/dev/null").st_mode));
}

TEST_F(Decode, AFifoWaitsForItsReader) {
  ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0666), 0);
  running_zel child(directory_.path(), {"decode", "--format", "f32", "-o", "fifo", "silence://10"});
  EXPECT_EQ(read("fifo"), std::string(441'000 * 4 * 2, '\0'));
  EXPECT_EQ(child.wait().status, 0);
}

TEST_F(Decode, AnInterruptEndsTheWaitOfAFifo) {
  ASSERT_EQ(::mkfifo(path("fifo").c_str(), 0666), 0);
  running_zel child(directory_.path(), {"decode", "--format", "f32", "-o", "fifo", "silence://100000"});
  // Once there is something to read, the child is on its way to the FIFO's end, or waits there.
  std::ifstream reader(path("fifo"), std::ios::binary);
  EXPECT_EQ(reader.get(), 0);
  child.interrupt(SIGINT);
  ASSERT_TRUE(child.ends_unread());
  EXPECT_EQ(child.wait().status, 130);
}

TEST_F(Decode, SubsongsThatAreNotThereFail) {
  const auto result = zel({"decode", "--subsong", "1", "-o", "out.wav", "tone://440,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "zel: tone://440,1: Unexpected subsong index\n");
  EXPECT_EQ(zel({"decode", "--subsong", "0", "-o", "out.wav", "tone://440,1"}).status, 0);
}

class DecodeInterrupted : public ZelTest, public testing::WithParamInterface<int> {};

TEST_P(DecodeInterrupted, LeavesNothingBehind) {
  write("kept.wav", "old");
  running_zel child(directory_.path(), {"decode", "-o", "kept.wav", "silence://100000"});
  // It is at work once its temporary is there.
  for (int i = 0; i < 10'000 && names().size() < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ASSERT_EQ(names().size(), 2u);
  child.interrupt(GetParam());
  const auto result = child.wait();
  EXPECT_EQ(result.status, 130);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(names(), std::vector<std::string>{"kept.wav"});
  EXPECT_EQ(read("kept.wav"), "old");
}

INSTANTIATE_TEST_SUITE_P(All, DecodeInterrupted, testing::Values(SIGINT, SIGTERM, SIGHUP), [](const auto& row) {
  return row.param == SIGINT ? "Interrupt" : row.param == SIGTERM ? "Terminate" : "HangUp";
});

TEST_F(Decode, InterruptingManyEndsThemAll) {
  ASSERT_EQ(::mkdir(path("out").c_str(), 0777), 0);
  running_zel child(directory_.path(), {"decode", "-j", "2", "-o", "out", "silence://100000", "silence://100001"});
  const auto count = [&] { return std::distance(std::filesystem::directory_iterator(path("out")), {}); };
  for (int i = 0; i < 10'000 && count() < 2; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  ASSERT_EQ(count(), 2);
  child.interrupt(SIGINT);
  EXPECT_EQ(child.wait().status, 130);
  EXPECT_EQ(count(), 0);
}

} // namespace

} // namespace zelmora::test
