#include "support/faulty_file.h"

namespace zelmora::test {

using namespace zelmora_io;

namespace {

class faulty_file : public file_v2 {
 public:
  faulty_file(file_ptr source, file_faults faults, std::shared_ptr<operation_count> count)
      : source_(std::move(source)), faults_(std::move(faults)),
        count_(count ? std::move(count) : std::make_shared<operation_count>()) {}

  std::size_t read(void* buffer, std::size_t bytes, abort_callback& abort) override {
    if (enter() >= faults_.shorten_at) return 0;
    ++count_->reads;
    const auto got = faults_.one_byte_reads ? read_bytewise(static_cast<std::byte*>(buffer), bytes, abort)
                                            : source_->read(buffer, bytes, abort);
    count_->bytes_read += got;
    return got;
  }
  void write(const void* buffer, std::size_t bytes, abort_callback& abort) override {
    enter();
    if (faults_.no_writes) throw exception_io_write_protected();
    ++count_->writes;
    source_->write(buffer, bytes, abort);
    count_->bytes_written += bytes;
  }
  std::uint64_t get_size(abort_callback& abort) override {
    return faults_.no_size ? unknown_size : source_->get_size(abort);
  }
  std::uint64_t get_position(abort_callback& abort) override { return source_->get_position(abort); }
  void resize(std::uint64_t size, abort_callback& abort) override {
    enter();
    if (faults_.no_writes) throw exception_io_write_protected();
    source_->resize(size, abort);
  }
  void seek(std::uint64_t position, abort_callback& abort) override {
    enter();
    if (faults_.no_seek) throw exception_io_object_not_seekable();
    source_->seek(position, abort);
  }
  bool can_seek() override { return !faults_.no_seek && source_->can_seek(); }
  bool get_content_type(std::string& out) override { return source_->get_content_type(out); }
  std::uint64_t get_timestamp(abort_callback& abort) override { return source_->get_timestamp(abort); }
  void reopen(abort_callback& abort) override {
    if (faults_.no_seek && source_->get_position(abort) != 0) throw exception_io_object_not_seekable();
    source_->reopen(abort);
  }
  bool is_remote() override { return false; }
  void flush_to_disk(abort_callback& abort) override {
    enter();
    if (auto durable = service_cast<file_v2>(source_.get())) durable->flush_to_disk(abort);
  }

 private:
  std::size_t enter() {
    const auto number = count_->total++;
    if (faults_.before_operation) faults_.before_operation(number);
    if (number == faults_.fail_at) throw exception_io_file_corrupted();
    if (number == faults_.abort_at) throw exception_aborted();
    return number;
  }
  std::size_t read_bytewise(std::byte* buffer, std::size_t bytes, abort_callback& abort) {
    std::size_t got = 0;
    while (got < bytes && source_->read(buffer + got, 1, abort) == 1) ++got;
    return got;
  }

  file_ptr source_;
  file_faults faults_;
  std::shared_ptr<operation_count> count_;
};

} // namespace

file_ptr make_faulty_file(file_ptr source, file_faults faults, std::shared_ptr<operation_count> count) {
  return service_new<faulty_file>(std::move(source), std::move(faults), std::move(count));
}

} // namespace zelmora::test
