// Dialogs of commands: asked on a terminal, or answered by options.
#include "frame/dialog.h"

#include "host/answers.h"
#include "host/jobs.h"
#include "host_fixture.h"

#include <fcntl.h>

namespace zelmora {
namespace {

dialog_model example() {
  dialog_model dialog{"Example", {"Two files."}, {}};
  dialog.fields.push_back({"delay", "Delay", field_kind::number, "Samples before the music", 0, 4095});
  dialog.fields.push_back({"kinds", "Kinds", field_kind::choices});
  dialog.fields.push_back({"sheet", "Sheet", field_kind::lines});
  dialog.field("delay").unset = "as it is";
  dialog.field("kinds").choices = {{"a", ""}, {"b", "Bee"}};
  dialog.field("sheet").value = std::string("x\ny\n");
  dialog.check = [](const dialog_model& all) {
    if (all.number("delay") == 13 && all.choices("kinds")->empty()) throw field_refusal("13 needs a kind");
  };
  return dialog;
}

std::string summary(const dialog_model& dialog) {
  const auto* const sheet = dialog.text("sheet");
  std::string result;
  for (const auto& field : dialog.fields) result += format_field_value(field) + "|";
  return result + (sheet == nullptr ? "" : *sheet);
}

class Dialogs : public test::HostTest {
 protected:
  ~Dialogs() override {
    host::set_answers(host::answers::asked);
    host::set_dialog_answers({});
  }

  /// What comes of it: the values, "cancelled" or what is raised. Standard input is the file at `input`.
  std::string show(const std::string& input) {
    const auto work = [&] {
      const int descriptor = ::open(input.c_str(), O_RDONLY | O_NOCTTY);
      if (descriptor < 0 || ::dup2(descriptor, STDIN_FILENO) < 0) return 1;
      if (std::freopen((scratch / "err").c_str(), "w", stderr) == nullptr) return 1;
      std::string result;
      auto dialog = example();
      const auto failure =
          test::raised([&] { result = service_single<dialog_host>()->show(dialog) ? summary(dialog) : "cancelled"; });
      test::write_bytes(scratch / "result", failure + result);
      return std::fflush(stderr);
    };
    EXPECT_EQ(test::run_in_child(work), 0);
    said = test::read_bytes(scratch / "err");
    return test::read_bytes(scratch / "result");
  }

  /// With these lines typed.
  std::string typed(const std::string& lines) {
    const int user = ::posix_openpt(O_RDWR | O_NOCTTY);
    EXPECT_TRUE(user >= 0 && ::grantpt(user) == 0 && ::unlockpt(user) == 0);
    const auto result = [&] {
      const int kept = ::open(::ptsname(user), O_RDWR | O_NOCTTY); // or what is typed would be lost before it is read
      EXPECT_EQ(::write(user, lines.data(), lines.size()), static_cast<ssize_t>(lines.size()));
      auto shown = show(::ptsname(user));
      ::close(kept);
      return shown;
    }();
    ::close(user);
    return result;
  }

  std::string said;
};

constexpr std::string_view end_of_input = "\x04";

TEST_F(Dialogs, AskOneLineAField) {
  EXPECT_EQ(typed("576\nB, a\n\n"), "576|a,b|2 lines|x\ny\n");
  EXPECT_EQ(said, "Example\nTwo files.\nSamples before the music\nDelay (0 to 4095) [as it is]: "
                  "Kinds (any of a, b (Bee); - for none): "
                  "Sheet (one line, @FILE for the text of a file, - for none) [2 lines]: ");
  EXPECT_EQ(typed("\na\n-\n"), "as it is|a|0 lines|");
  test::write_bytes(scratch / "sheet", "one\ntwo\n");
  EXPECT_EQ(typed("0\n-\n@" + scratch / "sheet\n"), "0||2 lines|one\ntwo");
}

TEST_F(Dialogs, AskAgainForWhatIsWrong) {
  EXPECT_EQ(typed("4096\n13\n\n-\n@missing\n\n12\n\n\n"), "12||2 lines|x\ny\n");
  for (const char* reason : {"\"4096\" is not a number from 0 to 4095\n", "A value is needed\n",
                             "missing: Object not found\n", "13 needs a kind\n"})
    EXPECT_NE(said.find(reason), std::string::npos) << reason << said;
}

TEST_F(Dialogs, EndWithTheInput) {
  EXPECT_EQ(typed("5\n" + std::string(end_of_input)), "cancelled");
  abort_callback_impl interrupt;
  interrupt.set();
  host::set_interrupt(&interrupt);
  EXPECT_EQ(typed("5\n" + std::string(end_of_input)), "exception_aborted: User abort");
  host::set_interrupt(nullptr);
}

TEST_F(Dialogs, DoNotAskForWhatIsGiven) {
  host::set_dialog_answers({{"delay", "7"}, {"sheet", "@@"}});
  EXPECT_EQ(typed("a\n"), "7|a|1 line|@");
  EXPECT_EQ(said.find("Delay"), std::string::npos);
  host::set_dialog_answers({{"delay", "x"}});
  EXPECT_EQ(typed("a\n"), "dialog_unanswered: --delay: \"x\" is not a number from 0 to 4095");
}

TEST_F(Dialogs, WithoutATerminalOptionsMustDo) {
  const auto without = [&](std::vector<host::dialog_answer> answers) {
    host::set_dialog_answers(std::move(answers));
    return show("/dev/null");
  };
  EXPECT_EQ(without({}),
            "dialog_unanswered: there is no terminal to ask on: give --delay, --kinds, --sheet, or --yes for "
            "the defaults");
  EXPECT_EQ(without({{"delay", "1"}}), "dialog_unanswered: --kinds: A value is needed");
  EXPECT_EQ(without({{"kinds", ""}}), "as it is||2 lines|x\ny\n");
  EXPECT_EQ(without({{"kinds", ""}, {"delay", "13"}}), "dialog_unanswered: 13 needs a kind");
  EXPECT_EQ(said, "");
  host::set_answers(host::answers::yes);
  EXPECT_EQ(without({}), "dialog_unanswered: --kinds: A value is needed");
  EXPECT_EQ(without({{"kinds", "b"}}), "as it is|b|2 lines|x\ny\n");
}

} // namespace
} // namespace zelmora
