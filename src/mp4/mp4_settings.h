// Settings of MP4 files.
#pragma once

namespace zelmora {

/// Where a rewrite puts the metadata.
enum class mp4_tag_location { beginning, end };
mp4_tag_location get_mp4_tag_location();

} // namespace zelmora
