#include "cd/cd_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

constexpr guid ripper_branch = "D62F52CF-0E37-4AA1-BE21-9DED411DC361"_guid;

advconfig_factory<advconfig_branch> ripper_heading{{"", "CD Ripper", ripper_branch, advconfig_root::tools}};
advconfig_factory<advconfig_checkbox> limit_speed{{"cdda.limitSpeed", "Limit CDDA drive speed during playback",
                                                   "623A2246-8984-4BA2-ADFC-D81CE2EB2349"_guid,
                                                   advconfig_root::playback},
                                                  true,
                                                  is_radio::no};
advconfig_factory<advconfig_checkbox> auto_lookup{{"cdda.meta.autoLookup",
                                                   "Automatically look up metadata for untagged CDs",
                                                   "CD148070-93CF-4E78-83AC-C9360657DDA7"_guid, ripper_branch},
                                                  false,
                                                  is_radio::no};

} // namespace

bool cdda_limits_speed() { return limit_speed->get(); }
bool cdda_looks_up_metadata() { return auto_lookup->get(); }

} // namespace zelmora
