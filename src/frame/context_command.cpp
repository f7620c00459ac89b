#include "frame/context_command.h"

#include "frame/exceptions.h"

namespace zelmora {

const context_command& context_command_table::command(std::size_t index) const {
  if (index >= commands_.size()) uBugCheck("no such command");
  return commands_[index];
}

context_command_description context_command_table::describe(std::size_t index) {
  const auto& row = command(index);
  return {std::string(row.group), std::string(row.name), std::string(row.help),
          row.fields == nullptr ? std::vector<dialog_field>() : row.fields()};
}

bool context_command_table::is_offered(std::size_t index, media_items items, abort_callback& abort) {
  return command(index).is_offered(items, abort);
}

command_result context_command_table::run(std::size_t index, media_items items) { return command(index).run(items); }

} // namespace zelmora
