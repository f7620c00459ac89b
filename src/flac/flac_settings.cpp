#include "flac/flac_settings.h"

#include "frame/advconfig.h"

namespace zelmora {

namespace {

advconfig_factory<advconfig_checkbox> add_seek_tables{
    {"converter.flac.addSeekTables", "FLAC: Add seektables to encoded files",
     "11E7ED97-894E-45CD-A60D-3D08360D96AC"_guid, advconfig_root::tools},
    true,
    is_radio::no};

} // namespace

bool flac_adds_seek_tables() { return add_seek_tables->get(); }

} // namespace zelmora
