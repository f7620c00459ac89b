#include "support/fake_front_end.h"

#include "frame/exceptions.h"
#include "frame/host_services.h"

namespace zelmora::test {

namespace {

class kept_status final : public threaded_process_status {
 public:
  void set_progress(unsigned progress) override { progress_ = progress; }
  void set_title(std::string_view) override {}
  void set_item(std::string_view) override {}
  void set_item_path(std::string_view path) override { front_end().steps.emplace_back(progress_, path); }

 private:
  unsigned progress_ = 0;
};

class kept_process : public threaded_process {
 public:
  bool run_modal(const job& work, std::string_view title) override {
    front_end().jobs.emplace_back(title);
    kept_status status;
    try {
      work(status, *front_end().interrupt);
      return true;
    } catch (const zelmora_io::exception_aborted&) {
      return false;
    }
  }
};

class kept_messages : public popup_message {
 public:
  void show(std::string_view message, std::string_view title, popup_icon) override {
    front_end().messages.push_back({std::string(title), std::string(message)});
  }
  bool ask(std::string_view question, std::string_view) override {
    front_end().questions.emplace_back(question);
    return front_end().says_yes;
  }
};

class kept_dialogs : public dialog_host {
 public:
  bool show(dialog_model& dialog) override {
    front_end().dialogs.push_back(dialog);
    try {
      for (const auto& [option, text] : front_end().answers)
        dialog.field(option).value = parse_field_value(dialog.field(option), text);
      check_dialog(dialog);
      return true;
    } catch (const std::exception& refusal) {
      front_end().refusal = refusal.what();
      return false;
    }
  }
};

service_factory_single_t<kept_process> process_factory;
service_factory_single_t<kept_messages> messages_factory;
service_factory_single_t<kept_dialogs> dialogs_factory;

} // namespace

fake_front_end& front_end() {
  static fake_front_end instance;
  return instance;
}

void reset_front_end() {
  front_end() = {};
  front_end().interrupt = std::make_unique<abort_callback_impl>();
}

} // namespace zelmora::test
