// Messages as lines of the terminal.
#include "frame/host_services.h"
#include "frame/text.h"
#include "host/answers.h"
#include "host/terminal.h"

#include <atomic>
#include <fmt/core.h>
#include <string>

namespace zelmora::host {

namespace {

constinit std::atomic<answers> answered{answers::asked};

class popup_message_impl : public popup_message {
 public:
  void show(std::string_view message, std::string_view title, popup_icon icon) override {
    auto& screen = terminal::get();
    // The title stands before the first line, and the kind of message where it is not plain from the text.
    auto line = escape_for_display(title);
    if (icon == popup_icon::error) line += line.empty() ? "error" : " error";
    if (!line.empty()) line += ": ";
    for (;;) {
      const auto end = message.find('\n');
      screen.print_error_line(line.append(escape_for_display(message.substr(0, end))));
      if (end == std::string_view::npos) return;
      message.remove_prefix(end + 1);
      line = message.starts_with('\n') ? "" : "  ";
    }
  }

  bool ask(std::string_view question, std::string_view title) override {
    const auto text =
        title.empty() ? fmt::format("{} [y/N] ", question) : fmt::format("{}: {} [y/N] ", title, question);
    if (answered.load() == answers::yes) {
      terminal::get().print_error_line(escape_for_display(text) + "y");
      return true;
    }
    std::string answer;
    if (!terminal::get().ask_line(text, answer)) {
      terminal::get().print_error_line(escape_for_display(text) + "n (nobody is there to ask: --yes answers yes)");
      return false;
    }
    return ascii_equal(answer, "y") || ascii_equal(answer, "yes");
  }
};

service_factory_single_t<popup_message_impl> factory;

} // namespace

void set_answers(answers wanted) noexcept { answered.store(wanted); }
answers get_answers() noexcept { return answered.load(); }

} // namespace zelmora::host
