#include "host/config_store.h"

#include "frame/advconfig.h"
#include "host/console_log.h"
#include "host_fixture.h"
#include "support/syscall_faults.h"

#include <csignal>

namespace zelmora {
namespace {

using host::config_store;
using test::raised;
using test::read_bytes;
using test::syscall_watch;
using test::write_bytes;

// Settings of the test program, which stands in for the plug-in here.
constexpr guid colours = "00000000-0000-0000-0000-0000000000C0"_guid;
constexpr guid number_id = "00000000-0000-0000-0000-0000000000C3"_guid;
advconfig_factory<advconfig_branch> heading{{"", "Colours", colours, advconfig_root::tools}};
advconfig_factory<advconfig_checkbox> red{
    {"test.red", "Red", "00000000-0000-0000-0000-0000000000C1"_guid, colours}, true, is_radio::yes};
advconfig_factory<advconfig_checkbox> blue{
    {"test.blue", "Blue", "00000000-0000-0000-0000-0000000000C2"_guid, colours}, false, is_radio::yes};
advconfig_factory<advconfig_integer> number{{"test.number", "Number", number_id, colours}, 5u, 0u, 99u};
advconfig_factory<advconfig_string> text{{"test.text", "Text", "00000000-0000-0000-0000-0000000000C4"_guid, colours},
                                         "as shipped"};

class ConfigStore : public test::HostTest {
 protected:
  const std::string directory = scratch / "deep/er/config";
  config_store store{directory, client_instance()};

  void SetUp() override { reset(); }
  void TearDown() override { reset(); }
  static void reset() {
    red->set(true);
    number->set(5);
    text->set("as shipped");
  }
  static std::string state() {
    return number->get_text() + " " + text->get() + (red->get() ? " red" : "") + (blue->get() ? " blue" : "");
  }
  /// What a fresh start finds.
  std::string state_after_load() {
    reset();
    config_store(directory, client_instance()).load(abort);
    return state();
  }
};

TEST_F(ConfigStore, DefaultsWithoutABlob) {
  store.load(abort);
  EXPECT_EQ(state(), "5 as shipped red");
  EXPECT_TRUE(scratch.list().empty()) << "reading makes nothing";
}

TEST_F(ConfigStore, KeepsWhatWasSaved) {
  number->set(42);
  text->set("caf\xc3\xa9;/a b");
  blue->set(true);
  store.save(abort);
  EXPECT_EQ(state_after_load(), "42 caf\xc3\xa9;/a b blue");
  EXPECT_EQ(test::status_of(directory).st_mode & 0777, mode_t{0700});
  EXPECT_EQ(store.path(), directory + "/zel_input_std.cfg");
}

TEST_F(ConfigStore, NothingChangedNothingWritten) {
  store.save(abort);
  config_store again(directory, client_instance());
  again.load(abort);
  const syscall_watch watch({});
  again.save(abort);
  EXPECT_EQ(watch.count(), 0u);
}

TEST_F(ConfigStore, UnknownVariablesAreSkipped) {
  number->set(42);
  store.save(abort);
  const std::string stranger("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10" // GUID
                             "\x03\x00\x00\x00"                                                 // length
                             "xyz",
                             23);
  write_bytes(store.path(), stranger + read_bytes(store.path()) + stranger + "short");
  EXPECT_EQ(state_after_load(), "42 as shipped red");
}

/// Whether a blob that ends at `size` ends within a record: behind its GUID and before its last byte.
bool ends_within_a_record(std::string_view blob, std::size_t size) {
  constexpr std::size_t id_size = 16;
  for (std::size_t at = 0; at + id_size <= size;) {
    const auto end = at + id_size + 4 + load_le<std::uint32_t>(blob.data() + at + id_size);
    if (size < end) return true;
    at = end;
  }
  return false;
}

TEST_F(ConfigStore, DamagedCountsAsAbsentAndIsKept) {
  number->set(42);
  text->set("long enough to lose its end");
  store.save(abort);
  const auto whole = read_bytes(store.path());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE(size);
    const auto cut = whole.substr(0, size);
    write_bytes(store.path(), cut);
    reset();
    config_store started(directory, client_instance());
    started.load(abort);
    const bool damaged = ends_within_a_record(whole, size);
    if (damaged) {
      EXPECT_EQ(state(), "5 as shipped red") << "nothing of it is taken";
    }
    number->set(7);
    started.save(abort);
    EXPECT_EQ(std::filesystem::exists(store.path() + ".damaged"), damaged);
    if (damaged) {
      EXPECT_EQ(read_bytes(store.path() + ".damaged"), cut);
    }
    EXPECT_EQ(state_after_load().substr(0, 2), "7 ");
    std::filesystem::remove(store.path() + ".damaged");
  }
}

TEST_F(ConfigStore, WhatCouldNotBeReadIsNeverWrittenOver) {
  number->set(42);
  store.save(abort);
  const auto blob = read_bytes(store.path());
  reset();
  config_store started(directory, client_instance());
  {
    const syscall_watch watch({.fail_at = 2}); // open, fstat, pread
    started.load(abort);
  }
  EXPECT_EQ(state(), "5 as shipped red");
  number->set(7);
  EXPECT_EQ(raised([&] { started.save(abort); }), "exception_io: Device error");
  EXPECT_EQ(read_bytes(store.path()), blob);
  EXPECT_FALSE(std::filesystem::exists(store.path() + ".damaged"));
}

TEST_F(ConfigStore, ProcessesDoNotLoseEachOthersSettings) {
  store.load(abort);
  config_store other(directory, client_instance());
  other.load(abort);
  number->set(42);
  store.save(abort);
  reset();
  text->set("by the other");
  other.save(abort);
  EXPECT_EQ(state_after_load(), "42 by the other red");
}

TEST_F(ConfigStore, RecordsOfOtherBuildsSurviveASave) {
  const std::string stranger("\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10\x03\x00\x00\x00xyz", 23);
  std::filesystem::create_directories(directory);
  write_bytes(store.path(), stranger);
  store.load(abort);
  number->set(42);
  store.save(abort);
  EXPECT_NE(read_bytes(store.path()).find(stranger), std::string::npos);
  EXPECT_EQ(state_after_load(), "42 as shipped red");
}

TEST_F(ConfigStore, AnyFailureLeavesOldOrNew) {
  store.save(abort);
  const auto old_blob = read_bytes(store.path());
  std::string new_blob;
  std::size_t calls = 0;
  for (std::size_t n = 0; n <= calls; ++n) {
    write_bytes(store.path(), old_blob);
    reset();
    config_store started(directory, client_instance());
    started.load(abort);
    number->set(42);
    std::string failure;
    {
      const syscall_watch watch({.fail_at = calls == 0 ? test::syscall_plan::never : n - 1});
      failure = raised([&] { started.save(abort); });
      if (calls == 0) calls = watch.count();
    }
    if (n == 0) new_blob = read_bytes(store.path());
    const auto now = read_bytes(store.path());
    EXPECT_TRUE(now == new_blob || (!failure.empty() && now == old_blob)) << n << ": " << failure;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
      EXPECT_FALSE(entry.path().filename().string().starts_with("temp-")) << n << ": " << failure;
  }
  EXPECT_GT(calls, 8u);
  EXPECT_NE(new_blob, old_blob);
}

TEST_F(ConfigStore, WhereItIsKept) {
  const struct {
    const char *chosen, *xdg, *home, *expected;
  } rows[]{
      {"/chosen", "/xdg", "/users/x", "/chosen"},
      {"", "/xdg", "/users/x", "/xdg/zelmora"},
      {"", "relative", "/users/x", "/users/x/.config/zelmora"},
      {"", "", "/users/x", "/users/x/.config/zelmora"},
  };
  EXPECT_EQ(test::run_in_child([&] {
              for (const auto& row : rows) {
                ::setenv("ZELMORA_CONFIG_DIR", row.chosen, 1);
                ::setenv("XDG_CONFIG_HOME", row.xdg, 1);
                ::setenv("HOME", row.home, 1);
                if (host::user_config_directory() != row.expected) return 1 + static_cast<int>(&row - rows);
              }
              return 0;
            }),
            0);
}

} // namespace
} // namespace zelmora
