// Services that every host offers: console, messages, digests, background jobs.
#pragma once

#include "frame/abort_callback.h"
#include "frame/service.h"

#include <array>
#include <cstddef>
#include <functional>
#include <string_view>

namespace zelmora {

/// Plain lines for whoever looks into what a module does.
class console : public service_base {
 public:
  using interface_type = console;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D40"_guid;

  virtual void print(std::string_view line) = 0;
};

/// How often the host shows what changes while a track plays.
class dynamic_info_display : public service_base {
 public:
  using interface_type = dynamic_info_display;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D44"_guid;

  /// [1/s]; 0 when it shows no such thing.
  virtual double get_refresh_rate() = 0;
};

/// How much work describing files may be.
class describing_effort : public service_base {
 public:
  using interface_type = describing_effort;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D46"_guid;

  /// Whether all of a file may be read, where only that tells its length. Hosts without this service allow it.
  virtual bool allows_reading_all() = 0;
};

enum class popup_icon { information, error, query };

/// A message that the user should see.
class popup_message : public service_base {
 public:
  using interface_type = popup_message;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D41"_guid;

  virtual void show(std::string_view message, std::string_view title, popup_icon icon) = 0;
  /// Asks for yes or no; a front end that can't ask answers no.
  virtual bool ask(std::string_view question, std::string_view title) = 0;
};

/// The 16-byte digest (MD5, RFC 1321) by which names are made from longer ones.
class hasher_md5 : public service_base {
 public:
  using interface_type = hasher_md5;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D42"_guid;
  using digest = std::array<std::byte, 16>;

  virtual digest process_single(std::string_view data) = 0;
};

/// How a running job tells its progress.
class threaded_process_status {
 public:
  static constexpr unsigned progress_max = 5000;

  virtual void set_progress(unsigned progress) = 0; ///< [0, progress_max]
  virtual void set_title(std::string_view title) = 0;
  /// The line below the bar: what is being worked on.
  virtual void set_item(std::string_view item) = 0;
  virtual void set_item_path(std::string_view path) = 0;

 protected:
  ~threaded_process_status() = default;
};

/// Runs a job on a thread of its own, with a progress display and a way to abort it.
class threaded_process : public service_base {
 public:
  using interface_type = threaded_process;
  using interface_parent = service_base;
  static constexpr guid class_guid = "5B6E6F2A-4A0D-4F3C-8D35-4B1F2E0A7D43"_guid;
  using job = std::function<void(threaded_process_status&, abort_callback&)>;

  /// Returns when the job has ended; false when it was aborted. Any other exception of the job is raised here.
  virtual bool run_modal(const job& work, std::string_view title) = 0;
};

} // namespace zelmora
