#include "cli/tag_operands.h"

#include "cli/options.h"
#include "frame/file_info.h"
#include "frame/text.h"

#include <fmt/core.h>
#include <unistd.h>

namespace zelmora::cli {

namespace {

bool looks_like_assignment(std::string_view operand) {
  const auto sign = operand.find('=');
  return sign != std::string_view::npos && operand.substr(0, sign).find('/') == std::string_view::npos;
}

bool is_field(tag_action action, const marked_operands& operands, std::size_t index) {
  if (action == tag_action::remove && (index == 0 || operands.has_mark)) return true;
  return looks_like_assignment(operands.before[index]);
}

field_operand parse_field(std::string_view operand) {
  field_operand result;
  const auto sign = operand.find('=');
  result.name = operand.substr(0, sign);
  if (!file_info::is_valid_field_name(result.name))
    throw usage_error(fmt::format("\"{}\" is no name that a field can have", escape_for_display(result.name)));
  if (sign == std::string_view::npos) return result;
  auto value = operand.substr(sign + 1);
  result.value_from = field_operand::origin::text;
  if (value.starts_with('@')) {
    value.remove_prefix(1);
    if (!value.starts_with('@')) result.value_from = field_operand::origin::file;
  }
  if (result.value_from == field_operand::origin::file && value.empty())
    throw usage_error(fmt::format("{}=@ names no file: NAME=@@ is the value \"@\"", result.name));
  if (result.value_from == field_operand::origin::text && !is_valid_utf8(value))
    throw usage_error(fmt::format("the value of {} is no UTF-8", result.name));
  result.value = value;
  return result;
}

/// `*.flac` may grow into the first field: what is both is not guessed at.
void refuse_file(const std::string& operand) {
  if (::access(operand.c_str(), F_OK) == 0)
    throw usage_error(
        fmt::format("\"{}\" is a file as well: put -- between fields and paths", escape_for_display(operand)));
}

} // namespace

tag_operands split_tag_operands(tag_action action, marked_operands operands) {
  tag_operands result;
  const bool takes_fields = action == tag_action::set || action == tag_action::add || action == tag_action::remove;
  std::size_t fields = 0;
  while (takes_fields && fields < operands.before.size() && is_field(action, operands, fields)) {
    if (!operands.has_mark) refuse_file(operands.before[fields]);
    result.fields.push_back(parse_field(operands.before[fields++]));
  }
  for (auto* const part : {&operands.before, &operands.after})
    for (std::size_t i = part == &operands.before ? fields : 0; i < part->size(); ++i)
      result.paths.push_back(std::move((*part)[i]));
  return result;
}

} // namespace zelmora::cli
