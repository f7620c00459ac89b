// Commands on media files that a host offers for a selection: in a context menu, or by name on a command line.
//
// A room registers its commands as a table, in the last lines of the source that holds them:
//   constexpr context_command commands[]{{"Utils", "Fix seek table", "Corrects seeking.", &is_fixable, &fix}};
//   context_command_factory factory(commands);
// What a command has to say it says through the host: a job's progress, a message, a question. The helpers of
// `frame/command_job.h` do the usual: a walk over the items, and one message about those that failed. What it has to
// know beforehand it asks by a dialog (`frame/dialog.h`), whose fields stand in its row.
#pragma once

#include "frame/abort_callback.h"
#include "frame/dialog.h"
#include "frame/service.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmora {

/// One track of a selection.
struct media_item {
  std::string path;
  std::uint32_t subsong = 0;
};

/// What the user has selected, in that order.
using media_items = std::span<const media_item>;

/// How a command ended.
enum class command_result {
  done,
  some_failed, ///< the user has been told which items, and why
  aborted,
};

/// What a host shows of a command.
struct context_command_description {
  std::string group; ///< the menu that it stands in
  std::string name;  ///< no other command has it
  std::string help;
  std::vector<dialog_field> fields; ///< what its dialog asks, with the defaults that hold for every selection
};

/// The commands of one room. Immutable, called from any thread.
class context_command_entry : public service_base {
 public:
  using interface_type = context_command_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "6B0F5D2C-1E64-4C4B-9B57-0D8C2A93E170"_guid;

  virtual std::size_t get_command_count() = 0;
  /// `index` [0, count).
  virtual context_command_description describe(std::size_t index) = 0;
  /// Whether the command applies to `items`; asked again whenever the selection changes.
  virtual bool is_offered(std::size_t index, media_items items, abort_callback& abort) = 0;
  /// Runs to the end. Failures of single items are shown to the user and do not stop the others; what stops all of it
  /// is raised. `items` are as `is_offered` had them.
  virtual command_result run(std::size_t index, media_items items) = 0;
};

/// One row of a room's table.
struct context_command {
  std::string_view group;
  std::string_view name;
  std::string_view help;
  bool (*is_offered)(media_items items, abort_callback& abort);
  command_result (*run)(media_items items);
  std::vector<dialog_field> (*fields)() = nullptr; ///< of its dialog, for those that have one
};

/// A table as an entry.
class context_command_table : public context_command_entry {
 public:
  explicit context_command_table(std::span<const context_command> commands) : commands_(commands) {}

  std::size_t get_command_count() override { return commands_.size(); }
  context_command_description describe(std::size_t index) override;
  bool is_offered(std::size_t index, media_items items, abort_callback& abort) override;
  command_result run(std::size_t index, media_items items) override;

 private:
  const context_command& command(std::size_t index) const;

  std::span<const context_command> commands_;
};

/// Registers a table, which must outlive it.
class context_command_factory {
 public:
  explicit context_command_factory(std::span<const context_command> commands) : node_(commands) {}

 private:
  service_factory_single_t<context_command_table> node_;
};

} // namespace zelmora
