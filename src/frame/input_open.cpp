#include "frame/input_open.h"

#include "frame/call_stack.h"
#include "frame/filesystem.h"
#include "frame/rewrite.h"
#include "frame/text.h"

#include <algorithm>
#include <array>
#include <exception>

namespace zelmora {

using namespace zelmora_io;

namespace {

/// How specifically an entry claimed an object, as a sum of these.
enum claim : unsigned { claim_none = 0, claim_header = 1, claim_path = 2, claim_content_type = 4 };

struct candidate {
  service_ptr_t<input_entry> entry;
  unsigned claim = claim_none;
  std::exception_ptr refusal;
};

/// The candidates in the order of trying: ordinary merit before low, then the host's order.
std::vector<candidate> list_candidates(std::string_view path) {
  const auto extension = path_extension(path);
  constexpr std::size_t usual_count = 40;
  std::vector<candidate> result;
  result.reserve(usual_count);
  for_each_service<input_entry>([&](service_ptr_t<input_entry> entry) {
    const unsigned claim = entry->is_our_path(path, extension) ? claim_path : claim_none;
    result.push_back({std::move(entry), claim, nullptr});
    return true;
  });
  std::stable_partition(result.begin(), result.end(), [](const candidate& c) { return !c.entry->is_low_merit(); });
  return result;
}

/// The search for the entry that opens one object.
class input_search {
 public:
  input_search(const guid& class_id, file_ptr filehint, std::string_view path, event_logger_ptr logger,
               abort_callback& abort)
      : class_id_(class_id), file_(std::move(filehint)), is_given_(file_), path_(path), logger_(std::move(logger)),
        abort_(abort) {}

  opened_input run() {
    candidates_ = list_candidates(path_);
    if (file_) mark_by_content_type();
    opened_input result;
    if (try_claims(claim_path | claim_content_type, result)) return result;
    if (!open_object()) raise_refusal();
    if (try_claims(claim_content_type, result)) return result;
    if (!file_->can_seek()) raise_refusal();
    mark_by_header();
    // What was opened for a look is no hint: an entry that writes opens the path itself, and so owns it.
    if (!is_given_ && class_id_ == input_info_writer::class_guid) file_.release();
    if (try_claims(claim_header, result)) return result;
    raise_refusal();
  }

 private:
  /// Tries, once each, the entries that have one of `claims`.
  bool try_claims(unsigned claims, opened_input& out) {
    for (auto& c : candidates_)
      if ((c.claim & claims) != 0 && !c.refusal && try_entry(c, out)) return true;
    return false;
  }

  bool try_entry(candidate& c, opened_input& out) {
    try {
      c.entry->open(class_id_, out.instance, file_, path_, logger_, abort_);
      out.entry = c.entry;
      return true;
    } catch (const exception_io_data&) {
      c.refusal = std::current_exception();
    } catch (const kiv::exception_overflow&) {
      // Sizes that no file can have.
      c.refusal = std::make_exception_ptr(exception_io_data());
    } catch (const exception_io_object_not_seekable&) {
      // A stream that an earlier entry has read from can't start again for this one.
      if (!file_ || file_->can_seek()) throw;
      c.refusal = std::make_exception_ptr(exception_io_unsupported_format());
    }
    return false;
  }

  /// False for what has no bytes to look at, such as a generator's path.
  bool open_object() {
    if (file_) return true;
    try {
      filesystem::g_open(file_, path_, open_mode::read, abort_);
    } catch (const exception_io_no_handler_for_path&) {
      if (std::ranges::all_of(candidates_, [](const candidate& c) { return c.claim == claim_none; })) throw;
      return false;
    }
    mark_by_content_type();
    return true;
  }

  void mark_by_content_type() {
    std::string type;
    if (!file_->get_content_type(type)) return;
    const auto essence = content_type_essence(type);
    for (auto& c : candidates_)
      if (c.entry->is_our_content_type(essence)) c.claim |= claim_content_type;
  }

  void mark_by_header() {
    std::array<std::byte, sniff_size> head;
    file_->reopen(abort_);
    const auto got = file_->read(head.data(), head.size(), abort_);
    for (auto& c : candidates_)
      if (c.entry->is_our_file_header({head.data(), got})) c.claim |= claim_header;
  }

  [[noreturn]] void raise_refusal() const {
    const candidate* strongest = nullptr;
    for (const auto& c : candidates_)
      if (c.refusal && (strongest == nullptr || c.claim > strongest->claim)) strongest = &c;
    if (strongest != nullptr) std::rethrow_exception(strongest->refusal);
    throw exception_io_unsupported_format();
  }

  guid class_id_;
  file_ptr file_;
  bool is_given_; ///< the caller's own hint
  std::string_view path_;
  event_logger_ptr logger_;
  abort_callback& abort_;
  std::vector<candidate> candidates_;
};

} // namespace

opened_input open_input(const guid& class_id, file_ptr filehint, std::string_view path, event_logger_ptr logger,
                        abort_callback& abort) {
  abort.check();
  return input_search(class_id, std::move(filehint), path, std::move(logger), abort).run();
}

namespace {

template <class Interface>
service_ptr_t<Interface> open_as(file_ptr filehint, std::string_view path, event_logger_ptr logger,
                                 abort_callback& abort) {
  const auto opened = open_input(Interface::class_guid, std::move(filehint), path, std::move(logger), abort);
  return service_extension<Interface>(opened.instance.get());
}

template <class Interface>
service_ptr_t<Interface> open_entry_as(input_entry& entry, file_ptr filehint, std::string_view path,
                                       abort_callback& abort) {
  service_ptr_t<service_base> instance;
  entry.open(Interface::class_guid, instance, std::move(filehint), path, nullptr, abort);
  return service_extension<Interface>(instance.get());
}

} // namespace

service_ptr_t<input_decoder> input_entry::open_for_decoding(file_ptr filehint, std::string_view path,
                                                            abort_callback& abort) {
  return open_entry_as<input_decoder>(*this, std::move(filehint), path, abort);
}
service_ptr_t<input_info_reader> input_entry::open_for_info_read(file_ptr filehint, std::string_view path,
                                                                 abort_callback& abort) {
  return open_entry_as<input_info_reader>(*this, std::move(filehint), path, abort);
}
service_ptr_t<input_info_writer> input_entry::open_for_info_write(file_ptr filehint, std::string_view path,
                                                                  abort_callback& abort) {
  return open_entry_as<input_info_writer>(*this, std::move(filehint), path, abort);
}

service_ptr_t<input_decoder> input_entry::g_open_for_decoding(file_ptr filehint, std::string_view path,
                                                              event_logger_ptr logger, abort_callback& abort) {
  const uCallStackTracker trace("input_entry::g_open_for_decoding");
  return open_as<input_decoder>(std::move(filehint), path, std::move(logger), abort);
}
service_ptr_t<input_info_reader> input_entry::g_open_for_info_read(file_ptr filehint, std::string_view path,
                                                                   event_logger_ptr logger, abort_callback& abort) {
  const uCallStackTracker trace("input_entry::g_open_for_info_read");
  return open_as<input_info_reader>(std::move(filehint), path, std::move(logger), abort);
}
service_ptr_t<input_info_writer> input_entry::g_open_for_info_write(file_ptr filehint, std::string_view path,
                                                                    event_logger_ptr logger, abort_callback& abort) {
  const uCallStackTracker trace("input_entry::g_open_for_info_write");
  return open_as<input_info_writer>(std::move(filehint), path, std::move(logger), abort);
}
service_ptr_t<input_info_writer> input_entry::g_open_for_info_write_timeout(file_ptr filehint, std::string_view path,
                                                                            event_logger_ptr logger, double timeout,
                                                                            abort_callback& abort) {
  service_ptr_t<input_info_writer> result;
  retry_while_in_use(timeout, abort, [&] { result = g_open_for_info_write(filehint, path, logger, abort); });
  return result;
}

void input_open_file_helper(file_ptr& file, std::string_view path, t_input_open_reason reason, abort_callback& abort) {
  if (file) return file->reopen(abort);
  switch (reason) {
  case input_open_info_read:
  case input_open_decode: filesystem::g_open(file, path, open_mode::read, abort); break;
  case input_open_info_write:
    filesystem::g_open(file, path, open_mode::write_existing, abort);
    remove_rewrite_leftover(path);
    break;
  default: uBugCheck("unknown reason to open an input");
  }
}

namespace traced {

void initialize(input_decoder& decoder, std::uint32_t subsong, std::uint32_t flags, abort_callback& abort) {
  const uCallStackTracker trace("input_decoder::initialize");
  decoder.initialize(subsong, flags, abort);
}
bool run(input_decoder& decoder, audio_chunk& chunk, abort_callback& abort) {
  const uCallStackTracker trace("input_decoder::run");
  return decoder.run(chunk, abort);
}
void seek(input_decoder& decoder, double seconds, abort_callback& abort) {
  const uCallStackTracker trace("input_decoder::seek");
  decoder.seek(seconds, abort);
}
bool get_dynamic_info(input_decoder& decoder, file_info& info, double& time_delta) {
  const uCallStackTracker trace("input_decoder::get_dynamic_info");
  return decoder.get_dynamic_info(info, time_delta);
}
void on_idle(input_decoder& decoder, abort_callback& abort) {
  const uCallStackTracker trace("input_decoder::on_idle");
  decoder.on_idle(abort);
}
void get_info(input_decoder& decoder, std::uint32_t subsong, file_info& info, abort_callback& abort) {
  const uCallStackTracker trace("input_decoder::get_info");
  decoder.get_info(subsong, info, abort);
}

} // namespace traced

} // namespace zelmora
