#include "frame/album_art.h"

#include <algorithm>

namespace zelmora {

namespace {

class album_art_data_impl : public album_art_data {
 public:
  explicit album_art_data_impl(std::vector<std::byte> content) : content_(std::move(content)) {}
  std::span<const std::byte> bytes() const noexcept override { return content_; }

 private:
  std::vector<std::byte> content_;
};

} // namespace

album_art_data_ptr make_album_art(std::vector<std::byte> content) {
  return service_new<album_art_data_impl>(std::move(content));
}

album_art_data_ptr find_album_art(const album_art_set& pictures, const guid& id) {
  const auto found = std::ranges::find(pictures, id, &album_art_entry::id);
  return found == pictures.end() ? nullptr : found->data;
}

std::string image_format_name(std::span<const std::byte> image) {
  std::string name;
  for_each_service<image_formats>([&](const auto& service) {
    name = service->get_format_name(image);
    return name.empty();
  });
  return name;
}

} // namespace zelmora
