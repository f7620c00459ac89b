#include "support/note_input.h"

#include "frame/input_impl.h"

namespace zelmora::test {

namespace {

class input_note : public input_stubs {
 public:
  void open(file_ptr, std::string_view path, t_input_open_reason reason, abort_callback&) {
    const auto found = notes().find(path);
    if (found == notes().end()) throw zelmora_io::exception_io_not_found();
    note_ = &found->second;
    if (reason != input_open_info_write) return;
    ++note_->opened_for_writing;
    if (note_->is_read_only) throw exception_tagging_unsupported();
    if (note_->times_in_use > 0) {
      --note_->times_in_use;
      throw zelmora_io::exception_io_sharing_violation();
    }
  }
  std::uint32_t get_subsong_count() { return static_cast<std::uint32_t>(note_->subsongs.size()); }
  std::uint32_t get_subsong(std::uint32_t index) { return index + first(); }
  void get_info(std::uint32_t subsong, file_info& info, abort_callback&) { info.copy(note_->subsongs[at(subsong)]); }
  t_filestats get_file_stats(abort_callback&) { return {}; }
  void decode_initialize(std::uint32_t, std::uint32_t, abort_callback&) {}
  bool decode_run(audio_chunk&, abort_callback&) { return false; }
  void decode_seek(double, abort_callback&) {}

  void retag_set_info(std::uint32_t subsong, const file_info& info, abort_callback&) {
    pending_[at(subsong)] = file_info_impl(info);
    note_->set.push_back(at(subsong));
  }
  void retag_commit(abort_callback&) {
    if (note_->is_interrupted) throw zelmora_io::exception_aborted();
    if (!note_->commit_failure.empty()) throw zelmora_io::exception_io(note_->commit_failure);
    ++note_->committed;
    for (auto& [index, info] : pending_) note_->subsongs[index] = info;
  }
  void remove_tags(abort_callback&) {
    ++note_->cleared;
    for (auto& info : note_->subsongs) info = {};
  }

  static bool g_is_our_path(std::string_view path, std::string_view) { return path.starts_with("note://"); }
  static guid g_get_guid() { return "00000000-0000-0000-0000-0000000000D1"_guid; }
  static std::string_view g_get_name() { return "note"; }
  static bool g_can_write_tags() { return true; }

 private:
  std::uint32_t first() const { return note_->subsongs.size() > 1 ? 1 : 0; }
  std::size_t at(std::uint32_t subsong) const {
    if (subsong < first() || subsong - first() >= note_->subsongs.size())
      throw zelmora_io::exception_io_bad_subsong_index();
    return subsong - first();
  }

  note* note_ = nullptr;
  std::map<std::size_t, file_info_impl> pending_;
};

input_factory_t<input_note> factory;

} // namespace

std::map<std::string, note, std::less<>>& notes() {
  static std::map<std::string, note, std::less<>> instance;
  return instance;
}

} // namespace zelmora::test
