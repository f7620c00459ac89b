// Settings of FLAC files.
#pragma once

namespace zelmora {

/// Whether files that the host's converter has encoded get a seek table.
bool flac_adds_seek_tables();

} // namespace zelmora
