// Kinds of images, by their first bytes.
#include "frame/album_art.h"

#include "frame/bytes.h"

#include <algorithm>
#include <array>

namespace zelmora::host {

namespace {

using namespace std::string_view_literals;

struct signature {
  std::string_view name; ///< the media type's part behind "image/" (IANA, "Media Types")
  std::size_t offset;
  std::string_view bytes;
};

// Sources: the formats' standards, as gathered in WHATWG "MIME Sniffing", section 6.1, and TIFF 6.0, section 2.
constexpr std::array signatures{
    signature{"jpeg", 0, "\xFF\xD8\xFF"sv}, signature{"png", 0, "\x89PNG\r\n\x1A\n"sv},
    signature{"gif", 0, "GIF87a"sv},        signature{"gif", 0, "GIF89a"sv},
    signature{"webp", 8, "WEBPVP"sv},       signature{"bmp", 0, "BM"sv},
    signature{"tiff", 0, "II*\0"sv},        signature{"tiff", 0, "MM\0*"sv},
    signature{"avif", 4, "ftypavif"sv},
};

class image_formats_impl : public image_formats {
 public:
  std::string get_format_name(std::span<const std::byte> image) override {
    const auto found = std::ranges::find_if(signatures, [&](const signature& known) {
      return image.size() >= known.offset && starts_with(image.subspan(known.offset), known.bytes);
    });
    return found == signatures.end() ? std::string() : std::string(found->name);
  }
};

service_factory_single_t<image_formats_impl> factory;

} // namespace

} // namespace zelmora::host
