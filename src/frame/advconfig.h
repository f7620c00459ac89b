// The tree of advanced settings. A setting is a static object beside the code that reads it; it registers itself as a
// service and, with its value, as a persistent variable. Readers call `get()` at the point of use.
#pragma once

#include "frame/cfg_var.h"
#include "frame/service.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace zelmora {

/// The host's roots of the tree.
namespace advconfig_root {
inline constexpr guid playback = "A5C9F1D2-0B5D-4B80-9E2A-2A0B6E7D1C01"_guid;
inline constexpr guid tools = "A5C9F1D2-0B5D-4B80-9E2A-2A0B6E7D1C02"_guid;
inline constexpr guid decoding = "A5C9F1D2-0B5D-4B80-9E2A-2A0B6E7D1C03"_guid;
inline constexpr guid tagging = "A5C9F1D2-0B5D-4B80-9E2A-2A0B6E7D1C04"_guid;
} // namespace advconfig_root

enum class advconfig_kind { branch, checkbox, radio, string, integer };

/// Where and under which label an entry stands in the tree.
struct advconfig_place {
  std::string_view key; ///< the name by which others read it; empty for branches
  std::string_view label;
  guid id;
  guid parent;
  double priority = 0.0; ///< ascending among siblings
};

/// What the host shows and edits. Values go as text: "yes"/"no", decimal digits, or the string itself.
class advconfig_entry : public service_base {
 public:
  using interface_type = advconfig_entry;
  using interface_parent = service_base;
  static constexpr guid class_guid = "3C7D5D0E-6D2B-4D38-8B0E-0F2A9A1B4C30"_guid;

  explicit advconfig_entry(const advconfig_place& place) : place_(place) {}

  const advconfig_place& place() const noexcept { return place_; }
  virtual advconfig_kind kind() const = 0;
  virtual std::string get_text() const = 0;
  virtual std::string get_default_text() const = 0;
  /// Raises `kiv::exception_invalid_params` with a text for the user when the value can't be taken. Setting a radio
  /// clears its siblings; clearing the one that is set is refused, since one choice always stands.
  virtual void set_text(std::string_view text) = 0;
  /// Radios: another choice of the group has been made.
  virtual void clear_choice() {}

 protected:
  /// Raises `kiv::exception_invalid_params`: "KEY takes WANTED, not "TEXT"".
  [[noreturn]] void refuse(std::string_view text, std::string_view wanted) const;

 private:
  advconfig_place place_;
};

class advconfig_branch : public advconfig_entry {
 public:
  using advconfig_entry::advconfig_entry;
  advconfig_kind kind() const override { return advconfig_kind::branch; }
  std::string get_text() const override { return {}; }
  std::string get_default_text() const override { return {}; }
  void set_text(std::string_view text) override;
};

enum class is_radio : bool { no, yes };

class advconfig_checkbox : public advconfig_entry {
 public:
  advconfig_checkbox(const advconfig_place& place, bool initial, is_radio radio)
      : advconfig_entry(place), initial_(initial), radio_(radio), value_(place.id, initial) {}

  /// On a radio: whether this very choice is set.
  bool get() const noexcept { return value_.get(); }
  void set(bool value);

  advconfig_kind kind() const override {
    return radio_ == is_radio::yes ? advconfig_kind::radio : advconfig_kind::checkbox;
  }
  std::string get_text() const override;
  std::string get_default_text() const override;
  void set_text(std::string_view text) override;
  void clear_choice() override { value_.set(false); }

 private:
  bool initial_;
  is_radio radio_;
  cfg_bool value_;
};

class advconfig_integer : public advconfig_entry {
 public:
  advconfig_integer(const advconfig_place& place, std::uint64_t initial, std::uint64_t least, std::uint64_t most)
      : advconfig_entry(place), initial_(initial), least_(least), most_(most), value_(place.id, initial) {}

  std::uint64_t get() const noexcept { return value_.get(); }
  /// Values out of bounds raise `kiv::exception_invalid_params`.
  void set(std::uint64_t value);

  advconfig_kind kind() const override { return advconfig_kind::integer; }
  std::string get_text() const override;
  std::string get_default_text() const override;
  void set_text(std::string_view text) override;

 private:
  std::uint64_t initial_;
  std::uint64_t least_;
  std::uint64_t most_;
  cfg_uint value_;
};

/// How a string is to be edited.
enum class string_flags : std::uint32_t { none = 0, is_folder_path = 1, is_file_path = 2 };

class advconfig_string : public advconfig_entry {
 public:
  advconfig_string(const advconfig_place& place, std::string_view initial, string_flags flags = string_flags::none)
      : advconfig_entry(place), initial_(initial), flags_(flags), value_(place.id, initial) {}

  string_flags flags() const noexcept { return flags_; }

  std::string get() const { return value_.get(); }
  void set(std::string_view value) { value_.set(value); }

  advconfig_kind kind() const override { return advconfig_kind::string; }
  std::string get_text() const override { return get(); }
  std::string get_default_text() const override { return std::string(initial_); }
  void set_text(std::string_view text) override { set(text); }

 private:
  std::string_view initial_;
  string_flags flags_;
  cfg_string value_;
};

/// Leaves one choice set in each group of radios: after a configuration was read that was damaged or edited, the first
/// that is set stays; where none is, the default comes back.
void settle_radio_groups();

/// A registered setting: `static advconfig_factory<advconfig_integer> rate{{"key", "Label", id, parent}, 44100, ...};`
template <class Entry>
class advconfig_factory {
 public:
  template <class... Values>
  explicit advconfig_factory(const advconfig_place& place, Values... values) : node_(place, values...) {}
  Entry* operator->() noexcept { return &node_.get(); }

 private:
  service_factory_single_t<Entry> node_;
};

} // namespace zelmora
