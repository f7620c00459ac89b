// The tree of advanced settings as the host shows it: the roots, which are the host's own, and what modules hang there.
#include "frame/advconfig.h"
#include "frame/text.h"
#include "host/host.h"

#include <algorithm>
#include <set>

namespace zelmora::host {

namespace {

service_factory_single_t<advconfig_branch> playback(advconfig_place{"", "Playback", advconfig_root::playback, {}, 0});
service_factory_single_t<advconfig_branch> tools(advconfig_place{"", "Tools", advconfig_root::tools, {}, 1});
service_factory_single_t<advconfig_branch> decoding(advconfig_place{"", "Decoding", advconfig_root::decoding, {}, 2});
service_factory_single_t<advconfig_branch> tagging(advconfig_place{"", "Tagging", advconfig_root::tagging, {}, 3});

class tree_walk {
 public:
  tree_walk() : entries_(enumerate_services<advconfig_entry>()) {
    // Siblings of one priority stay as they were registered.
    std::ranges::stable_sort(entries_, {}, [](const auto& entry) { return entry->place().priority; });
  }

  std::vector<setting_row> run() && {
    add_children(guid{}, 0);
    // What hangs on a branch that isn't there, or on itself, is shown all the same: at the end, as roots. Entries whose
    // parent has yet to come are left for it; a ring has none that could come first.
    for (const auto& entry : entries_)
      if (!is_entry(entry->place().parent)) add(entry, 0);
    for (const auto& entry : entries_) add(entry, 0);
    return std::move(rows_);
  }

 private:
  bool is_entry(const guid& id) const {
    return std::ranges::any_of(entries_, [&](const auto& entry) { return entry->place().id == id; });
  }
  void add(const service_ptr_t<advconfig_entry>& entry, unsigned depth) {
    if (!shown_.insert(entry.get()).second) return;
    rows_.push_back({entry, depth});
    if (entry->kind() == advconfig_kind::branch) add_children(entry->place().id, depth + 1);
  }
  void add_children(const guid& parent, unsigned depth) {
    for (const auto& entry : entries_)
      if (entry->place().parent == parent) add(entry, depth);
  }

  std::vector<service_ptr_t<advconfig_entry>> entries_;
  std::set<const advconfig_entry*> shown_;
  std::vector<setting_row> rows_;
};

} // namespace

std::vector<setting_row> list_settings() { return tree_walk().run(); }

service_ptr_t<advconfig_entry> find_setting(std::string_view key) {
  if (key.empty()) return nullptr;
  for (auto& entry : enumerate_services<advconfig_entry>())
    if (stricmp_utf8(entry->place().key, key) == 0) return entry;
  return nullptr;
}

} // namespace zelmora::host
