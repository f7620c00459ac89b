#include "frame/host_services.h"

#include <md5.h>

namespace zelmora::host {

namespace {

class hasher_md5_impl : public hasher_md5 {
 public:
  digest process_single(std::string_view data) override {
    MD5_CTX context;
    MD5Init(&context);
    MD5Update(&context, reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
    digest result;
    static_assert(sizeof(digest) == MD5_DIGEST_LENGTH);
    MD5Final(reinterpret_cast<std::uint8_t*>(result.data()), &context);
    return result;
  }
};

service_factory_single_t<hasher_md5_impl> factory;

} // namespace

} // namespace zelmora::host
