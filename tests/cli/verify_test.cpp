#include "cli/zel_process.h"

#include "support/decode_all.h"

namespace zelmora::test {

namespace {

using Verify = ZelTest;

TEST_F(Verify, AWholeFileIsTold) {
  const auto samples = ramp(10'001);
  write("a.wav", float_wav(samples, 8000, 1));
  const auto result = zel({"verify", "--json", "--seeks", "50", "a.wav"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(json_lines_of(result.out).at(0).dump(),
            R"({"path":"a.wav","subsong":0,"samples":10001,"sample_rate":8000,"channels":1,"pcm_md5":")" +
                pcm_md5(samples) + R"(","warnings":[],"seeks":{"tried":50,"exact":50,"max_abs_diff":0.0},"ok":true})");
  const auto text = zel({"verify", "a.wav"});
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(text.out, "a.wav: ok: 10001 samples, 8000 Hz, 1 channels, MD5 " + pcm_md5(samples) + "\n");
}

TEST_F(Verify, WithoutSeeksNoneAreTold) {
  EXPECT_FALSE(json_lines_of(zel({"verify", "--json", "tone://440,1"}).out).at(0).contains("seeks"));
}

TEST_F(Verify, DamageIsTheStatus) {
  auto wav = float_wav(ramp(10'000));
  wav.resize(wav.size() - 4000);
  write("cut.wav", wav);
  write("ok.wav", float_wav(ramp(10)));
  const auto result = zel({"verify", "--json", "cut.wav", "ok.wav"});
  EXPECT_EQ(result.status, 1);
  const auto objects = json_lines_of(result.out);
  ASSERT_EQ(objects.size(), 2u);
  EXPECT_EQ(objects[0]["ok"], false);
  EXPECT_EQ(objects[0]["samples"], 9000);
  ASSERT_FALSE(objects[0]["warnings"].empty());
  EXPECT_EQ(objects[1]["ok"], true);
  // Each warning is told on standard error, too, with its path.
  std::vector<std::string> wanted;
  for (const auto& warning : objects[0]["warnings"]) wanted.push_back("zel: cut.wav: " + warning.get<std::string>());
  EXPECT_EQ(lines_of(result.err), wanted);
  EXPECT_TRUE(zel({"verify", "cut.wav"}).out.starts_with("cut.wav: NOT OK: 9000 samples"));
}

TEST_F(Verify, FailuresAreObjectsOfTheirOwn) {
  write("junk.wav", std::string(2000, 'j'));
  const auto result = zel({"verify", "--json", "junk.wav", "no.wav", "tone://440"});
  EXPECT_EQ(result.status, 1);
  const auto lines = lines_of(result.out);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[0].starts_with(R"({"path":"junk.wav","error":{"type":"exception_io_)")) << lines[0];
  EXPECT_EQ(lines[1], R"({"path":"no.wav","error":{"type":"exception_io_not_found","message":"Object not found"}})");
  EXPECT_EQ(lines[2], R"({"path":"tone://440","subsong":0,"error":{"type":"exception_io_no_length",)"
                      R"("message":"Length of object is unknown"}})");
  EXPECT_EQ(lines_of(result.err).at(2), "zel: tone://440: Length of object is unknown");
}

TEST_F(Verify, EmptyStreamsAndSingleSamplesCanBeSought) {
  write("none.wav", float_wav({}));
  write("one.wav", float_wav({0.5f}));
  const auto result = zel({"verify", "--json", "--seeks", "9", "one.wav", "none.wav"});
  const auto objects = json_lines_of(result.out);
  EXPECT_EQ(objects.at(0)["seeks"]["exact"], 9) << objects[0];
  EXPECT_EQ(objects.at(1)["seeks"]["exact"], 9) << objects[1];
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
}

TEST_F(Verify, AnEmptyFileIsWhole) {
  write("none.wav", float_wav({}, 22'050, 2));
  ASSERT_EQ(zel({"decode", "--bits", "16", "-o", "made.wav", "none.wav"}).status, 0);
  for (const std::string name : {"none.wav", "made.wav"}) {
    const auto result = zel({"verify", name});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, name + ": ok: 0 samples, 22050 Hz, 2 channels, MD5 " + pcm_md5({}) + "\n");
  }
}

} // namespace

} // namespace zelmora::test
