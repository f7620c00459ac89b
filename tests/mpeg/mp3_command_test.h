// The commands on MP3 files, run over copies of fixtures as a host runs them.
#pragma once

#include "frame/context_command.h"
#include "host/answers.h"
#include "support/fixtures.h"
#include "support/old_or_new.h"

namespace zelmora::test {

class Mp3Command : public HostTest {
 protected:
  ~Mp3Command() override {
    host::set_answers(host::answers::asked);
    host::set_dialog_answers({});
  }

  /// The bytes of a file under tests/data/mpeg.
  static std::string fixture(std::string_view name) { return read_bytes(fixture_path("mpeg/" + std::string(name))); }

  std::string put(std::string_view name, std::string_view content) {
    write_bytes(scratch / name, content);
    return scratch / name;
  }
  std::string put(std::string_view name) { return put(name, fixture(name)); }

  /// How the command of that name ends on `paths`; `said` is what the user is told. Paths in it have no directory.
  command_result run(std::string_view name, const std::vector<std::string>& paths) {
    std::vector<media_item> items;
    for (const auto& path : paths) items.push_back({path, 0});
    testing::internal::CaptureStderr();
    auto result = command_result::aborted;
    for (const auto& entry : enumerate_services<context_command_entry>())
      for (std::size_t i = 0; i < entry->get_command_count(); ++i) {
        if (entry->describe(i).name != name) continue;
        EXPECT_TRUE(entry->is_offered(i, items, abort));
        result = entry->run(i, items);
      }
    said = testing::internal::GetCapturedStderr();
    for (auto at = said.find(scratch.path()); at != std::string::npos; at = said.find(scratch.path()))
      said.erase(at, scratch.path().size() + 1);
    return result;
  }

  std::string said;
};

} // namespace zelmora::test
