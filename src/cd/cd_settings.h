// Settings of audio CD access.
#pragma once

namespace zelmora {

bool cdda_limits_speed();
bool cdda_looks_up_metadata();

} // namespace zelmora
