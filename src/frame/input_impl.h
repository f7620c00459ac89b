// The adaptor: turns a plain class that knows one format into the interfaces of `frame/input.h`.
//
// A format class derives from `input_stubs` and offers, by name:
//   void open(file_ptr file, std::string_view path, t_input_open_reason reason, abort_callback& abort);
//   void get_info(file_info& info, abort_callback& abort);                         single-track classes
//   void get_info(std::uint32_t subsong, file_info& info, abort_callback& abort);  others, with the next two
//   std::uint32_t get_subsong_count();  std::uint32_t get_subsong(std::uint32_t index);
//   t_filestats get_file_stats(abort_callback& abort);
//   void decode_initialize(std::uint32_t subsong, std::uint32_t flags, abort_callback& abort);
//   bool decode_run(audio_chunk& chunk, abort_callback& abort);
//   void decode_seek(double seconds, abort_callback& abort);
//   static bool g_is_our_content_type(std::string_view type);   the type comes without its parameters
//   static bool g_is_our_path(std::string_view path, std::string_view extension);
//   static bool g_is_our_file_header(std::span<const std::byte> head);
//   static guid g_get_guid();  static std::string_view g_get_name();
// What `input_stubs` answers stands unless the class says otherwise. `docs/adding-a-format.md` shows one from end to
// end.
#pragma once

#include "frame/input.h"
#include "frame/input_open.h"
#include "frame/postprocess.h"
#include "frame/text.h"

#include <string>
#include <vector>

namespace zelmora {

/// Defaults of a format class, and the messages it gathers.
class input_stubs {
 public:
  void set_logger(event_logger_ptr logger) { logger_ = std::move(logger); }
  /// Hands the messages gathered while opening to the logger, once, as warnings.
  void deliver_gathered_warnings();

  bool decode_can_seek() { return true; }
  bool decode_get_dynamic_info(file_info&, double&) { return false; }
  bool decode_get_dynamic_info_track(file_info&, double&) { return false; }
  void decode_on_idle(abort_callback&) {}
  bool decode_run_raw(audio_chunk&, std::vector<std::byte>&, abort_callback&) {
    throw kiv::exception_not_implemented();
  }
  std::size_t extended_param(const guid&, void*, std::size_t) { return 0; }

  void retag(const file_info&, abort_callback&) { throw exception_tagging_unsupported(); }
  void retag_set_info(std::uint32_t, const file_info&, abort_callback&) { throw exception_tagging_unsupported(); }
  void retag_commit(abort_callback&) { throw exception_tagging_unsupported(); }
  void remove_tags(abort_callback&) { throw exception_tagging_unsupported(); }

  static bool g_is_our_content_type(std::string_view) { return false; }
  static bool g_is_our_file_header(std::span<const std::byte>) { return false; }
  static guid g_get_preferences_guid() { return {}; }
  static std::uint32_t g_get_flags() { return 0; }
  static bool g_is_low_merit() { return false; }
  static bool g_can_write_tags() { return false; }

 protected:
  /// While opening: a defect that does not stop playback.
  void gather_warning(std::string text) { gathered_.push_back(std::move(text)); }
  /// While decoding; `severity` of `event_logger::level`.
  void log(std::string_view text, unsigned severity) const {
    if (logger_) logger_->log_entry(text, severity);
  }

 private:
  event_logger_ptr logger_;
  std::vector<std::string> gathered_;
};

namespace detail {

/// A class of formats with more than one track to a file.
template <class Format>
concept multi_track = requires(Format& format, std::uint32_t index) {
  { format.get_subsong_count() } -> std::convertible_to<std::uint32_t>;
  { format.get_subsong(index) } -> std::convertible_to<std::uint32_t>;
};

/// The reading half, over whichever of the three interfaces the wrapper is.
template <class Format, class Interface>
class input_wrapper : public Interface {
 public:
  Format& format() noexcept { return format_; }

  std::uint32_t get_subsong_count() override {
    if constexpr (multi_track<Format>)
      return format_.get_subsong_count();
    else
      return 1;
  }
  std::uint32_t get_subsong(std::uint32_t index) override {
    if constexpr (multi_track<Format>)
      return format_.get_subsong(index);
    else
      return 0;
  }
  void get_info(std::uint32_t subsong, file_info& info, abort_callback& abort) override {
    check_subsong(subsong);
    if constexpr (multi_track<Format>)
      format_.get_info(subsong, info, abort);
    else
      format_.get_info(info, abort);
  }
  t_filestats get_file_stats(abort_callback& abort) override { return format_.get_file_stats(abort); }

 protected:
  static void check_subsong(std::uint32_t subsong) {
    if constexpr (!multi_track<Format>)
      if (subsong != 0) throw zelmora_io::exception_io_bad_subsong_index();
  }

  Format format_;
};

template <class Format>
class info_reader_wrapper : public input_wrapper<Format, input_info_reader> {};

template <class Format>
class info_writer_wrapper : public input_wrapper<Format, input_info_writer> {
 public:
  void set_info(std::uint32_t subsong, const file_info& info, abort_callback& abort) override {
    this->check_subsong(subsong);
    if constexpr (multi_track<Format>) {
      this->format_.retag_set_info(subsong, info, abort);
    } else {
      pending_ = file_info_impl(info);
      has_pending_ = true;
    }
  }
  void commit(abort_callback& abort) override {
    if constexpr (multi_track<Format>) return this->format_.retag_commit(abort);
    if (!has_pending_) return;
    this->format_.retag(pending_, abort);
    has_pending_ = false;
  }
  void remove_tags(abort_callback& abort) override { this->format_.remove_tags(abort); }

 private:
  file_info_impl pending_;
  bool has_pending_ = false;
};

template <class Format>
class decoder_wrapper : public input_wrapper<Format, input_decoder_v3> {
 public:
  void initialize(std::uint32_t subsong, std::uint32_t flags, abort_callback& abort) override {
    this->check_subsong(subsong);
    this->format_.deliver_gathered_warnings();
    this->format_.decode_initialize(subsong, flags, abort);
    queue_.stop();
    if ((flags & decode_flag_no_postprocess) != 0) return;
    file_info_impl info;
    this->get_info(subsong, info, abort);
    queue_.start(info);
  }
  bool run(audio_chunk& chunk, abort_callback& abort) override {
    if (!queue_.is_active()) return this->format_.decode_run(chunk, abort);
    return queue_.run([this](audio_chunk& c, abort_callback& a) { return this->format_.decode_run(c, a); }, chunk,
                      abort);
  }
  void seek(double seconds, abort_callback& abort) override {
    if (!(seconds >= 0)) throw zelmora_io::exception_io_data();
    if (!queue_.is_active()) return this->format_.decode_seek(seconds, abort);
    queue_.seek([this](double s, abort_callback& a) { this->format_.decode_seek(s, a); }, seconds, abort);
  }
  bool can_seek() override { return this->format_.decode_can_seek(); }
  bool get_dynamic_info(file_info& info, double& time_delta) override {
    const bool changed = this->format_.decode_get_dynamic_info(info, time_delta);
    return queue_.get_dynamic_info(info) || changed;
  }
  bool get_dynamic_info_track(file_info& info, double& time_delta) override {
    return this->format_.decode_get_dynamic_info_track(info, time_delta);
  }
  void on_idle(abort_callback& abort) override { this->format_.decode_on_idle(abort); }
  bool run_raw(audio_chunk& chunk, std::vector<std::byte>& raw, abort_callback& abort) override {
    return this->format_.decode_run_raw(chunk, raw, abort);
  }
  void set_logger(event_logger_ptr logger) override { this->format_.set_logger(std::move(logger)); }
  std::size_t extended_param(const guid& type, void* data, std::size_t size) override {
    return this->format_.extended_param(type, data, size);
  }

 private:
  postprocess_queue queue_;
};

} // namespace detail

/// The entry of a format class.
template <class Format>
class input_entry_impl : public input_entry_v2 {
 public:
  bool is_our_content_type(std::string_view type) override {
    return Format::g_is_our_content_type(content_type_essence(type));
  }
  bool is_our_path(std::string_view path, std::string_view extension) override {
    return Format::g_is_our_path(path, extension);
  }
  std::uint32_t get_flags() override { return Format::g_get_flags(); }
  guid get_guid() override { return Format::g_get_guid(); }
  std::string_view get_name() override { return Format::g_get_name(); }
  guid get_preferences_guid() override { return Format::g_get_preferences_guid(); }
  bool is_low_merit() override { return Format::g_is_low_merit(); }
  bool can_write_tags() override { return Format::g_can_write_tags(); }
  bool is_our_file_header(std::span<const std::byte> head) override { return Format::g_is_our_file_header(head); }

  void open(const guid& class_id, service_ptr_t<service_base>& out, file_ptr filehint, std::string_view path,
            event_logger_ptr logger, abort_callback& abort) override {
    if (class_id == input_decoder::class_guid)
      out =
          make<detail::decoder_wrapper<Format>>(input_open_decode, std::move(filehint), path, std::move(logger), abort);
    else if (class_id == input_info_reader::class_guid)
      out = make<detail::info_reader_wrapper<Format>>(input_open_info_read, std::move(filehint), path,
                                                      std::move(logger), abort);
    else if (class_id == input_info_writer::class_guid)
      out = make<detail::info_writer_wrapper<Format>>(input_open_info_write, std::move(filehint), path,
                                                      std::move(logger), abort);
    else
      throw kiv::exception_not_implemented();
  }

 private:
  template <class Wrapper>
  static service_ptr_t<service_base> make(t_input_open_reason reason, file_ptr filehint, std::string_view path,
                                          event_logger_ptr logger, abort_callback& abort) {
    auto wrapper = service_new<Wrapper>();
    wrapper->format().set_logger(std::move(logger));
    wrapper->format().open(std::move(filehint), path, reason, abort);
    // A reader has no `initialize` at which to tell.
    if (reason != input_open_decode) wrapper->format().deliver_gathered_warnings();
    return wrapper;
  }
};

/// Registers a format: `static input_factory_t<input_wav> factory;` as the last line of its source.
template <class Format>
using input_factory_t = service_factory_single_t<input_entry_impl<Format>, input_entry>;

} // namespace zelmora
