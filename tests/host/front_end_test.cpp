// Console, digests, messages and background jobs.
#include "frame/host_services.h"

#include "host/console_log.h"
#include "host/io_statistics.h"
#include "host/jobs.h"
#include "host/terminal.h"
#include "host_fixture.h"

#include <thread>

namespace zelmora {
namespace {

using test::raised;

class FrontEnd : public test::HostTest {
 protected:
  void TearDown() override { host::set_interrupt(nullptr); }
};

TEST_F(FrontEnd, Md5OfRfc1321) {
  const std::pair<const char*, const char*> rows[]{
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
  };
  for (const auto& [data, expected] : rows) {
    std::string hex;
    for (const auto byte : service_single<hasher_md5>()->process_single(data)) {
      const auto value = std::to_integer<unsigned>(byte);
      hex += "0123456789abcdef"[value >> 4];
      hex += "0123456789abcdef"[value & 15];
    }
    EXPECT_EQ(hex, expected);
  }
}

TEST_F(FrontEnd, ConsoleKeepsTheLastLines) {
  for (int n = 0; n < 250; ++n) service_single<console>()->print("line " + std::to_string(n));
  const auto lines = host::recent_console_lines();
  ASSERT_EQ(lines.size(), 100u);
  EXPECT_EQ(lines.front(), "line 150");
  EXPECT_EQ(lines.back(), "line 249");
}

TEST_F(FrontEnd, MessagesAreLinesOnStandardError) {
  const auto messages = service_single<popup_message>();
  testing::internal::CaptureStderr();
  messages->show("first\nsecond", "Title", popup_icon::information);
  messages->show("bad", "", popup_icon::error);
  host::terminal::get().show_progress("not a terminal", 0.5);
  host::terminal::get().clear_progress();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Title: first\n  second\nerror: bad\n");
}

TEST_F(FrontEnd, NobodyToAskIsNo) {
  EXPECT_EQ(test::run_in_child([&] {
              ::close(STDIN_FILENO);
              return service_single<popup_message>()->ask("Sure?", "Title") ? 1 : 0;
            }),
            0);
}

TEST_F(FrontEnd, JobsRunOnAThreadOfTheirOwn) {
  const auto caller = std::this_thread::get_id();
  test::write_bytes(scratch / "x", "content");
  host::thread_io_statistics() = {};
  bool elsewhere = false;
  EXPECT_TRUE(service_single<threaded_process>()->run_modal(
      [&](threaded_process_status& status, abort_callback& token) {
        elsewhere = std::this_thread::get_id() != caller;
        status.set_title("Working");
        status.set_item_path("/some/file.mp3");
        status.set_progress(threaded_process_status::progress_max);
        char c = 0;
        open(scratch / "x")->read_object(&c, 1, token);
      },
      "Work"));
  EXPECT_TRUE(elsewhere);
  EXPECT_EQ(host::thread_io_statistics().bytes_read, 7u) << "who waits is told of the work";
}

TEST_F(FrontEnd, JobsFailuresReachTheCaller) {
  const auto run = [](const threaded_process::job& work) {
    return service_single<threaded_process>()->run_modal(work, "");
  };
  EXPECT_EQ(raised([&] { run([](auto&, auto&) { throw zelmora_io::exception_io_device_full(); }); }),
            "exception_io_device_full: Device full");
  EXPECT_FALSE(run([](auto&, auto&) { throw zelmora_io::exception_aborted(); }));
}

TEST_F(FrontEnd, InterruptEndsARunningJob) {
  abort_callback_impl interrupt;
  host::set_interrupt(&interrupt);
  EXPECT_FALSE(service_single<threaded_process>()->run_modal(
      [&](threaded_process_status&, abort_callback& token) {
        EXPECT_FALSE(token.is_aborting());
        std::thread signal([&] { interrupt.set(); });
        signal.join();
        constexpr double for_ever = 3600;
        token.sleep(for_ever);
      },
      "Work"));
}

} // namespace
} // namespace zelmora
