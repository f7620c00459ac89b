#include "codecs/packet_decoder.h"

#include <cstring>
#include <exception>

namespace zelmora {

using zelmora_io::exception_io_data;

namespace {

enum class pass { without_deferred, all };

/// One walk over the entries.
struct search {
  bool decode;
  const guid& owner;
  std::uint32_t param1;
  const void* param2;
  std::size_t size;
  abort_callback& abort;
  packet_decoder_ptr found{};
  std::exception_ptr failure{};
  bool has_deferred = false;

  bool is_deferred(packet_decoder_entry& entry) const {
    const auto deferring = service_cast<packet_decoder_entry_deferring>(&entry);
    return deferring && deferring->is_deferred_setup(owner, param1, param2, size);
  }

  /// Whether to go on.
  bool visit(packet_decoder_entry& entry, pass which) {
    abort.check();
    if (!entry.is_our_setup(owner, param1, param2, size)) return true;
    if (which == pass::without_deferred && is_deferred(entry)) {
      has_deferred = true;
      return true;
    }
    try {
      entry.open(found, decode, owner, param1, param2, size, abort);
      return false;
    } catch (const exception_io_data&) {
      found.release();
      failure = std::current_exception();
      return true;
    }
  }

  void walk(pass which) {
    for_each_service<packet_decoder_entry>([&](const auto& entry) { return visit(*entry, which); });
  }
};

} // namespace

packet_decoder_ptr packet_decoder::g_open(bool decode, const guid& owner, std::uint32_t param1, const void* param2,
                                          std::size_t param2size, abort_callback& abort) {
  search looking{decode, owner, param1, param2, param2size, abort};
  looking.walk(pass::without_deferred);
  if (!looking.found && looking.has_deferred) looking.walk(pass::all);
  if (looking.found) return looking.found;
  if (looking.failure) std::rethrow_exception(looking.failure);
  throw exception_io_data();
}

std::optional<matroska_setup> get_matroska_setup(const guid& owner, const void* param2, std::size_t param2size) {
  if (owner != packet_decoder::owner_matroska || param2 == nullptr || param2size != sizeof(matroska_setup))
    return std::nullopt;
  matroska_setup setup;
  std::memcpy(&setup, param2, sizeof setup);
  return setup;
}

std::span<const std::byte> get_matroska_wave_record(const guid& owner, const void* param2, std::size_t param2size) {
  const auto setup = get_matroska_setup(owner, param2, param2size);
  return setup && setup->codec() == "A_MS/ACM" ? setup->private_data() : std::span<const std::byte>();
}

std::optional<std::span<const std::byte>> get_ogg_first_packet(const guid& owner, const void* param2,
                                                               std::size_t param2size) {
  if (owner != packet_decoder::owner_ogg || param2 == nullptr || param2size != sizeof(ogg_setup)) return std::nullopt;
  ogg_setup setup;
  std::memcpy(&setup, param2, sizeof setup);
  return setup_bytes(setup.first_packet, setup.first_packet_size);
}

} // namespace zelmora
