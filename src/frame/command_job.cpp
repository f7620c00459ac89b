#include "frame/command_job.h"

#include "frame/exceptions.h"
#include "frame/host_services.h"
#include "frame/rewrite.h"
#include "frame/text.h"

#include <algorithm>
#include <unordered_set>

namespace zelmora {

namespace {

constexpr std::size_t items_examined = 100;
constexpr double open_timeout = 0.5; // [s]

unsigned progress_at(std::size_t index, std::size_t count) {
  return static_cast<unsigned>(std::uint64_t{index} * threaded_process_status::progress_max / count);
}

} // namespace

void item_failures::add(std::string_view path, std::string_view reason) {
  if (count_++ != 0) text_ += "\n\n";
  text_ += words_.before_path;
  text_ += escape_for_display(path); // one line, whatever is in it
  text_ += words_.before_reason;
  text_ += reason;
  text_ += words_.after_reason;
}

void item_failures::show(std::string_view title, std::string_view closing) const {
  if (count_ == 0) return;
  auto message = text_;
  if (!closing.empty()) message.append("\n\n").append(closing);
  service_single<popup_message>()->show(message, title, popup_icon::information);
}

command_result process_items(std::string_view title, media_items items, item_failures& failures,
                             const std::function<void(const media_item& item, abort_callback& abort)>& work) {
  const auto walk = [&](threaded_process_status& status, abort_callback& abort) {
    for (std::size_t i = 0; i < items.size(); ++i) {
      abort.check();
      status.set_progress(progress_at(i, items.size()));
      status.set_item_path(items[i].path);
      try {
        work(items[i], abort);
      } catch (const zelmora_io::exception_aborted&) {
        throw;
      } catch (const std::exception& failure) {
        failures.add(items[i].path, failure.what());
      }
    }
  };
  if (!service_single<threaded_process>()->run_modal(walk, title)) return command_result::aborted;
  return failures.count() == 0 ? command_result::done : command_result::some_failed;
}

std::vector<media_item> distinct_files(media_items items) {
  std::unordered_set<std::string_view> seen;
  std::vector<media_item> result;
  for (const auto& item : items)
    if (seen.insert(item.path).second) result.push_back(item);
  return result;
}

file_ptr open_for_edit(std::string_view path, abort_callback& abort) {
  file_ptr result;
  zelmora_io::filesystem::g_open_timeout(result, path, zelmora_io::open_mode::write_existing, open_timeout, abort);
  remove_rewrite_leftover(path);
  result->ensure_seekable();
  return result;
}

bool all_have_extension(media_items items, std::string_view list) {
  const auto examined = items.first(std::min(items.size(), items_examined));
  return !examined.empty() && std::ranges::all_of(examined, [&](const media_item& item) {
    return list_contains(list, path_extension(item.path));
  });
}

} // namespace zelmora
