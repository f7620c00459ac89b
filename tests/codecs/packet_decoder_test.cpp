// How the decoder for a stream is found.
#include "codecs/packet_decoder.h"

#include "support/test_services.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zelmora::test {
namespace {

using zelmora_io::exception_io_data;
using zelmora_io::exception_io_denied;

constexpr guid our_owner = "2B2C8C5E-94D4-4B5A-9B0E-0C5D7A6E1F01"_guid;

enum class answer : std::uint8_t { opens, refuses, is_denied };

/// What the entries below do, and what was asked of them.
struct script {
  bool first_takes = true, second_takes = true, first_defers = false;
  answer first = answer::opens, second = answer::opens;
  std::vector<std::string> opened{};
};
script* current = nullptr;

class fake_decoder : public packet_decoder {
 public:
  explicit fake_decoder(std::string_view name) : name_(name) {}
  std::uint64_t set_stream_property(const guid&, std::uint64_t, const void*, std::size_t) override { return 0; }
  void get_info(file_info& info) override { info.info_set("codec", name_); }
  unsigned get_max_frame_dependency() override { return 0; }
  double get_max_frame_dependency_time() override { return 0; }
  void reset_after_seek() override {}
  void decode(const void*, std::size_t, audio_chunk&, abort_callback&) override {}
  bool analyze_first_frame_supported() override { return false; }
  void analyze_first_frame(const void*, std::size_t, abort_callback&) override {}

 private:
  std::string name_;
};

void play(packet_decoder_ptr& result, answer what, const char* name) {
  current->opened.emplace_back(name);
  if (what == answer::refuses) throw exception_io_data(name);
  if (what == answer::is_denied) throw exception_io_denied();
  result = service_new<fake_decoder>(name);
}

class second_entry : public packet_decoder_entry {
 public:
  bool is_our_setup(const guid& owner, std::uint32_t, const void*, std::size_t) override {
    return owner == our_owner && current->second_takes;
  }
  void open(packet_decoder_ptr& result, bool, const guid&, std::uint32_t, const void*, std::size_t,
            abort_callback&) override {
    play(result, current->second, "second");
  }
};
service_factory_single_t<second_entry> second_factory;

class first_entry : public packet_decoder_entry_deferring {
 public:
  bool is_our_setup(const guid& owner, std::uint32_t, const void*, std::size_t) override {
    return owner == our_owner && current->first_takes;
  }
  void open(packet_decoder_ptr& result, bool, const guid&, std::uint32_t, const void*, std::size_t,
            abort_callback&) override {
    play(result, current->first, "first");
  }
  bool is_deferred_setup(const guid&, std::uint32_t, const void*, std::size_t) override {
    return current->first_defers;
  }
};
// A list runs from the last registered to the first.
service_factory_single_t<first_entry, packet_decoder_entry> first_factory;

/// The name of the decoder found, or "!" and the message of what was raised.
std::string look_up(script& steps) {
  current = &steps;
  attach_own_services();
  abort_callback_dummy abort;
  try {
    file_info_impl info;
    packet_decoder::g_open(true, our_owner, 0, nullptr, 0, abort)->get_info(info);
    return *info.info_get("codec");
  } catch (const exception_io_data& failure) {
    return std::string("!") + failure.what();
  }
}

TEST(PacketDecoderLookUp, takes_the_first_that_opens) {
  using enum answer;
  const struct {
    const char* what;
    script steps;
    std::string found;
    std::vector<std::string> opened;
  } cases[]{
      {"the first", {}, "first", {"first"}},
      {"one that takes it", {.first_takes = false}, "second", {"second"}},
      {"after a refusal", {.first = refuses}, "second", {"first", "second"}},
      {"deferred, another takes it", {.first_defers = true}, "second", {"second"}},
      {"deferred, nobody else", {.second_takes = false, .first_defers = true}, "first", {"first"}},
      {"deferred, the other refuses", {.first_defers = true, .second = refuses}, "first", {"second", "first"}},
      {"the last refusal is told", {.first = refuses, .second = refuses}, "!second", {"first", "second"}},
      {"also of a second round",
       {.first_defers = true, .first = refuses, .second = refuses},
       "!second",
       {"second", "first", "second"}},
      {"nobody", {.first_takes = false, .second_takes = false}, std::string("!") + exception_io_data().what(), {}},
  };
  for (const auto& c : cases) {
    auto steps = c.steps;
    EXPECT_EQ(look_up(steps), c.found) << c.what;
    EXPECT_EQ(steps.opened, c.opened) << c.what;
  }
}

TEST(PacketDecoderLookUp, other_failures_end_it) {
  script steps{.first = answer::is_denied};
  EXPECT_THROW(look_up(steps), exception_io_denied);
  EXPECT_EQ(steps.opened, std::vector<std::string>{"first"});
}

} // namespace
} // namespace zelmora::test
