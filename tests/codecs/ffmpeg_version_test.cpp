// How the version of libavcodec is told.
#include "codecs/ffmpeg_bridge.h"
#include "frame/component.h"
#include "frame/host_services.h"
#include "support/test_services.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

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

} // namespace
} // namespace zelmora::test
