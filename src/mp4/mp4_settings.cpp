#include "mp4/mp4_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

constexpr guid mp4_branch = "5046436F-AFA7-45D1-BE71-5D90975CE6FA"_guid;
constexpr guid location_branch = "1D8EDA7A-B313-442C-A450-3C1DC4F9E114"_guid;

advconfig_factory<advconfig_branch> mp4_heading{{"", "MP4", mp4_branch, advconfig_root::tagging}};
advconfig_factory<advconfig_branch> location_heading{{"", "Tag location", location_branch, mp4_branch}};
advconfig_factory<advconfig_checkbox> at_beginning{
    {"tagging.mp4.beginning", "Beginning of file", "8F789539-9E43-464B-AD2F-38C8D23105ED"_guid, location_branch},
    true,
    is_radio::yes};
advconfig_factory<advconfig_checkbox> at_end{
    {"tagging.mp4.end", "End of file", "1ADB8E56-988C-4B2A-B616-C45DC638CF5C"_guid, location_branch},
    false,
    is_radio::yes};

} // namespace

mp4_tag_location get_mp4_tag_location() {
  return at_beginning->get() || !at_end->get() ? mp4_tag_location::beginning : mp4_tag_location::end;
}

} // namespace zelmora
