#include "frame/cfg_var.h"

#include "frame/bytes.h"

#include <algorithm>

namespace zelmora {

namespace {

constinit cfg_var* list = nullptr;

/// Settings are short; a longer payload belongs to a file that is no configuration.
constexpr std::uint32_t max_payload = cfg_string::max_length;

cfg_var* find_variable(const guid& id) {
  for (auto* variable = list; variable != nullptr; variable = variable->next())
    if (variable->id() == id) return variable;
  return nullptr;
}

} // namespace

cfg_var::cfg_var(const guid& id) noexcept : id_(id), next_(list) { list = this; }

cfg_var* cfg_var::list_head() noexcept { return list; }

void cfg_var::write_all(zelmora_io::stream_writer& out, abort_callback& abort) {
  for (auto* variable = list; variable != nullptr; variable = variable->next()) {
    const auto payload = variable->get_payload();
    out.write(variable->id().bytes.data(), variable->id().bytes.size(), abort);
    out.write_lendian_t(checked_cast<std::uint32_t>(payload.size()), abort);
    out.write(payload.data(), payload.size(), abort);
  }
}

void cfg_var::read_all(zelmora_io::stream_reader& in, abort_callback& abort) {
  guid id;
  std::string payload;
  while (in.read(id.bytes.data(), id.bytes.size(), abort) == id.bytes.size()) {
    abort.check();
    const auto length = in.read_lendian_t<std::uint32_t>(abort);
    auto* variable = find_variable(id);
    if (variable == nullptr || length > max_payload) {
      in.skip_object(length, abort);
      continue;
    }
    payload.resize(length);
    in.read_object(payload.data(), length, abort);
    variable->set_payload(payload);
  }
}

std::string cfg_bool::get_payload() const { return std::string(1, get() ? '\1' : '\0'); }

void cfg_bool::set_payload(std::string_view payload) {
  if (payload.size() == 1) set(payload.front() != '\0');
}

std::string cfg_uint::get_payload() const {
  std::string payload(sizeof(std::uint64_t), '\0');
  store_le(payload.data(), get());
  return payload;
}

void cfg_uint::set_payload(std::string_view payload) {
  if (payload.size() == sizeof(std::uint64_t)) set(load_le<std::uint64_t>(payload.data()));
}

std::string cfg_string::get() const {
  const std::scoped_lock lock(lock_);
  return value_;
}

void cfg_string::set(std::string_view value) {
  if (value.size() > max_length) throw kiv::exception_invalid_params("the text is too long for a setting");
  std::string copy(value);
  const std::scoped_lock lock(lock_);
  value_.swap(copy);
}

} // namespace zelmora
