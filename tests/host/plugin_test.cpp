// The plug-in as a host sees it: a library with three names.
#include "frame/client.h"
#include "frame/component.h"
#include "frame/input.h"
#include "frame/memory_file.h"
#include "host_fixture.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fmt/core.h>
#include <set>

namespace zelmora {
namespace {

using test::raised;
using test::read_bytes;

constexpr const char* plugin_file = ZELMORA_PLUGIN_FILE;

template <class T>
T at_offset(const std::string& image, std::size_t offset) {
  T result{};
  if (offset + sizeof(T) <= image.size()) std::memcpy(&result, image.data() + offset, sizeof(T));
  return result;
}

/// The names that a library defines for others: elf(5), .dynsym.
std::set<std::string> exported_names(const std::string& image) {
  std::set<std::string> names;
  const auto header = at_offset<Elf64_Ehdr>(image, 0);
  for (unsigned n = 0; n < header.e_shnum; ++n) {
    const auto section = at_offset<Elf64_Shdr>(image, header.e_shoff + n * sizeof(Elf64_Shdr));
    if (section.sh_type != SHT_DYNSYM) continue;
    const auto strings = at_offset<Elf64_Shdr>(image, header.e_shoff + section.sh_link * sizeof(Elf64_Shdr));
    for (std::size_t at = 0; at + sizeof(Elf64_Sym) <= section.sh_size; at += sizeof(Elf64_Sym)) {
      const auto symbol = at_offset<Elf64_Sym>(image, section.sh_offset + at);
      if (symbol.st_shndx == SHN_UNDEF || symbol.st_shndx == SHN_ABS || symbol.st_name == 0) continue;
      names.insert(image.data() + strings.sh_offset + symbol.st_name);
    }
  }
  return names;
}

TEST(Plugin, ExportsThreeNames) {
  EXPECT_EQ(exported_names(read_bytes(plugin_file)),
            (std::set<std::string>{"zelmora_get_interface", "FillWaveHeader", "FillWaveFormatEx"}));
}

class LoadedPlugin : public testing::Test {
 protected:
  test::scratch_directory scratch;
  host::host_instance host{{plugin_file, scratch / ".config"}};
  abort_callback_dummy abort;

  /// The plug-in's client, as the host got it.
  static zelmora_client& client() {
    void* const library = ::dlopen(plugin_file, RTLD_NOW | RTLD_NOLOAD);
    auto* const entry = reinterpret_cast<get_interface_function*>(::dlsym(library, get_interface_symbol));
    return *entry(&services());
  }
};

TEST_F(LoadedPlugin, TellsWhatItIs) {
  EXPECT_EQ(host.plugin_path(), plugin_file);
  EXPECT_EQ(client().get_version(), 81u);
  EXPECT_FALSE(client().is_debug());
  const auto components = enumerate_services<component_version_entry>();
  EXPECT_TRUE(std::ranges::any_of(components, [](const auto& entry) {
    return entry->get_name() == "Format Bench" && entry->get_version() == "2.0 beta 3";
  }));
  EXPECT_EQ(enumerate_services<startup_log_entry>().size(), 1u);
  const auto check = service_single<component_file_check_entry>();
  EXPECT_TRUE(check->is_proper_file_name(host.plugin_path()));
  EXPECT_FALSE(check->is_proper_file_name("/somewhere/renamed.so"));
}

TEST_F(LoadedPlugin, LookUpsSayWhatIsWrong) {
  EXPECT_EQ(raised([] { service_single<input_decoder>(); }), "exception_service_not_found: Service not found");
  EXPECT_EQ(raised([] { service_single<zelmora_io::filesystem>(); }),
            "exception_service_duplicated: Service duplicated");
  auto check = service_single<component_file_check_entry>();
  EXPECT_EQ(raised([&] { service_extension<input_entry>(check.get()); }),
            "exception_service_extension_not_found: Service extension not found");
  EXPECT_TRUE(enumerate_services<input_decoder>().empty());
}

TEST_F(LoadedPlugin, ItsExceptionsAreCaughtByType) {
  // A record that says it has more bytes than follow.
  const auto blob = service_new<memory_file>(std::string_view("0123456789abcdef\x09\x00\x00\x00x", 21));
  try {
    client().set_config_stream(*blob, abort);
    FAIL() << "took a truncated record";
  } catch (const zelmora_io::exception_io_data_truncation& failure) {
    EXPECT_STREQ(failure.what(), "Unsupported format or corrupted file");
  }
  EXPECT_THROW(client().set_config_stream(*(blob->reopen(abort), blob), abort), zelmora_io::exception_io);
}

TEST_F(LoadedPlugin, ItsSettingsAreKept) {
  for (const auto& row : host::list_settings()) {
    if (row.entry->kind() == advconfig_kind::branch) continue;
    EXPECT_EQ(row.entry->get_text(), row.entry->get_default_text()) << row.entry->place().key;
  }
  EXPECT_NO_THROW(host.save_configuration(abort));
}

TEST_F(LoadedPlugin, ItsSettingsAreDocumented) {
  const auto page = test::read_bytes(ZELMORA_TEST_DATA "/../../docs/settings.md");
  std::size_t settings = 0;
  for (const auto& row : host::list_settings()) {
    const auto key = row.entry->place().key;
    const bool is_of_a_test = key.starts_with("test.") || key.starts_with("tree.");
    if (row.entry->kind() == advconfig_kind::branch || is_of_a_test) continue;
    const auto line = fmt::format("| `{}` |", key);
    const auto at = page.find(line);
    ASSERT_NE(at, std::string::npos) << line;
    const auto rest = page.substr(at, page.find('\n', at) - at);
    EXPECT_NE(rest.find(row.entry->place().label), std::string::npos) << rest;
    const auto wanted = row.entry->get_default_text();
    const bool is_choice = row.entry->kind() == advconfig_kind::radio;
    EXPECT_NE(rest.find(is_choice ? (wanted == "yes" ? "| set |" : "| not set |") : wanted), std::string::npos) << rest;
    ++settings;
  }
  EXPECT_GE(settings, 28u);
}

TEST(Plugin, WhatIsNoPluginIsNamed) {
  const test::scratch_directory scratch;
  test::write_bytes(scratch / "text.so", "not a library");
  const struct {
    std::string path, in_message;
  } rows[]{{scratch / "none.so", "none.so"}, {scratch / "text.so", "text.so"}, {"libc.so.6", "libc.so.6"}};
  for (const auto& row : rows) {
    const auto failure = raised([&] { host::host_instance({row.path, scratch.path()}); });
    EXPECT_EQ(failure.find("exception_win32: "), 0u) << failure;
    EXPECT_NE(failure.find(row.in_message), std::string::npos) << failure;
  }
}

TEST(Plugin, OneHostAtATime) {
  const test::scratch_directory scratch;
  const host::host_instance first({"none", scratch.path()});
  EXPECT_EQ(raised([&] {
              host::host_instance({"none", scratch.path()});
            }),
            "exception_bug_check: there is a host already");
  EXPECT_NO_THROW(enumerate_services<zelmora_io::filesystem>()) << "the first one still stands";
}

TEST(Plugin, FoundFromTheEnvironmentOrTheProgram) {
  EXPECT_TRUE(std::filesystem::equivalent(host::find_plugin(), plugin_file));
  EXPECT_EQ(test::run_in_child([] {
              ::setenv("ZELMORA_PLUGIN", "/chosen/one.so", 1);
              return host::find_plugin() == "/chosen/one.so" ? 0 : 1;
            }),
            0);
}

} // namespace
} // namespace zelmora
