// The module over libavcodec: how its version is told, and the setting that it heeds.
#include "codecs/ffmpeg_bridge.h"
#include "frame/advconfig.h"
#include "frame/component.h"
#include "frame/host_services.h"
#include "support/test_services.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/codec_id.h>
}

namespace zelmora::test {
namespace {

std::vector<std::string> lines;

class test_console : public console {
 public:
  void print(std::string_view line) override {
    if (line.starts_with("FFmpeg")) lines.emplace_back(line);
  }
};
service_factory_single_t<test_console> console_factory;

TEST(FfmpegVersion, is_written_once_and_loads_nothing) {
  attach_own_services();
  const auto log = service_single<startup_log_entry>();
  const bool was_loaded = is_ffmpeg_bridge_loaded(); // by another test of this process
  log->write();
  EXPECT_EQ(is_ffmpeg_bridge_loaded(), was_loaded);
  const auto line = "FFmpeg version: " + load_ffmpeg_bridge().version();
  log->write();
  EXPECT_EQ(lines, std::vector{line});
  const auto components = enumerate_services<component_version_entry>();
  const auto ours = std::ranges::find_if(components, [](const auto& c) { return c->get_name() == "FFmpeg Decoders"; });
  ASSERT_NE(ours, components.end());
  EXPECT_EQ((*ours)->get_version(), load_ffmpeg_bridge().version());
  EXPECT_EQ((*ours)->get_about(), line);
}

std::string why_sonic_fails() {
  constexpr std::uint32_t sonic = AV_CODEC_ID_SONIC; // An experimental decoder, which wants a setup.
  try {
    open_ffmpeg_decoder({.codec_id = sonic, .sample_rate = 44100, .channels = 2});
    return {};
  } catch (const zelmora_io::exception_io_data&) {
    return "the setup";
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
}

TEST(FfmpegStrictness, takes_effect_with_the_next_decoder) {
  attach_own_services();
  const auto settings = enumerate_services<advconfig_entry>();
  const auto level =
      std::ranges::find_if(settings, [](const auto& entry) { return entry->place().key == "decoding.ffmpeg.strict"; });
  ASSERT_NE(level, settings.end());
  EXPECT_EQ(why_sonic_fails(), "the setup");
  (*level)->set_text("2");
  EXPECT_EQ(why_sonic_fails(), "ffmpeg: could not open the decoder");
  (*level)->set_text((*level)->get_default_text());
  EXPECT_EQ(why_sonic_fails(), "the setup");
}

} // namespace
} // namespace zelmora::test
