// Persistent values. Each is a static object that stands on its module's second list; the host reads and writes all of
// them as one blob of records: GUID (16 bytes), u32 little-endian length, payload.
#pragma once

#include "frame/file.h"
#include "frame/guid.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>

namespace zelmora {

class cfg_var {
 public:
  explicit cfg_var(const guid& id) noexcept;
  cfg_var(const cfg_var&) = delete;
  cfg_var& operator=(const cfg_var&) = delete;

  const guid& id() const noexcept { return id_; }
  /// The name by which tools show a variable that has no key of its own: "cfg_var." and the GUID.
  std::string text_name() const { return "cfg_var." + to_string(id_); }
  cfg_var* next() const noexcept { return next_; }

  virtual std::string get_payload() const = 0;
  /// Takes a stored payload; one of the wrong size leaves the value alone.
  virtual void set_payload(std::string_view payload) = 0;

  /// Head of this module's list.
  static cfg_var* list_head() noexcept;
  /// Writes a record for every variable of this module.
  static void write_all(zelmora_io::stream_writer& out, abort_callback& abort);
  /// Hands each record to the variable of its GUID, until a GUID comes back short. Unknown GUIDs are skipped; a payload
  /// shorter than its length raises `exception_io_data_truncation`.
  static void read_all(zelmora_io::stream_reader& in, abort_callback& abort);

 protected:
  ~cfg_var() = default;

 private:
  guid id_;
  cfg_var* next_;
};

/// One byte.
class cfg_bool final : public cfg_var {
 public:
  cfg_bool(const guid& id, bool initial) noexcept : cfg_var(id), value_(initial) {}
  bool get() const noexcept { return value_.load(std::memory_order_relaxed); }
  void set(bool value) noexcept { value_.store(value, std::memory_order_relaxed); }
  std::string get_payload() const override;
  void set_payload(std::string_view payload) override;

 private:
  std::atomic<bool> value_;
};

/// Eight bytes, little-endian.
class cfg_uint final : public cfg_var {
 public:
  cfg_uint(const guid& id, std::uint64_t initial) noexcept : cfg_var(id), value_(initial) {}
  std::uint64_t get() const noexcept { return value_.load(std::memory_order_relaxed); }
  void set(std::uint64_t value) noexcept { value_.store(value, std::memory_order_relaxed); }
  std::string get_payload() const override;
  void set_payload(std::string_view payload) override;

 private:
  std::atomic<std::uint64_t> value_;
};

/// UTF-8 without a terminator.
class cfg_string final : public cfg_var {
 public:
  cfg_string(const guid& id, std::string_view initial) : cfg_var(id), value_(initial) {}
  std::string get() const;
  /// Text beyond `max_length` raises `kiv::exception_invalid_params`: it would not be read back.
  void set(std::string_view value);
  std::string get_payload() const override { return get(); }
  void set_payload(std::string_view payload) override { set(payload); }

  static constexpr std::size_t max_length = 1 << 20; ///< [bytes]

 private:
  mutable std::mutex lock_;
  std::string value_;
};

} // namespace zelmora
