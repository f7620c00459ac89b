// The usual command: a job that walks over the items, and at its end one message about those that failed.
#pragma once

#include "frame/context_command.h"
#include "frame/file.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// The items that failed, each with its reason, as the text of a message. One thread at a time.
class item_failures {
 public:
  /// The words around a path and its reason, such as "Could not process file:\n" and "\nReason:\n".
  struct wording {
    std::string_view before_path;
    std::string_view before_reason;
    std::string_view after_reason = {};
  };

  explicit item_failures(const wording& words) : words_(words) {}

  void add(std::string_view path, std::string_view reason);
  std::size_t count() const noexcept { return count_; }
  /// The entries so far, with an empty line between two of them.
  const std::string& text() const noexcept { return text_; }
  /// Shows the entries, and `closing` behind them, in one message of the host; nothing when no item has failed.
  void show(std::string_view title, std::string_view closing = {}) const;

 private:
  wording words_;
  std::string text_;
  std::size_t count_ = 0;
};

/// Runs `work` on each of `items` in turn, in a job of the host that is called `title` and shows how far it has come
/// and the path of the item. A failure of `work` goes to `failures`, and the walk goes on; an abort ends it.
command_result process_items(std::string_view title, media_items items, item_failures& failures,
                             const std::function<void(const media_item& item, abort_callback& abort)>& work);

/// The first item of each path of `items`: for commands on files, of which a file of several tracks is one.
std::vector<media_item> distinct_files(media_items items);

/// The file of an item, open for writing; who has it open for a moment is waited for. Raises
/// `exception_io_object_not_seekable`.
file_ptr open_for_edit(std::string_view path, abort_callback& abort);

/// Whether each of the first 100 items has one of the extensions in a list such as "MP3;MP4", and there is one at all.
/// Items beyond are not looked at: menus open at once, however much is selected.
bool all_have_extension(media_items items, std::string_view list);

} // namespace zelmora
