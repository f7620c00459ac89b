// Path schemes: who opens, removes and replaces the object behind a path.
#pragma once

#include "frame/file.h"

#include <functional>
#include <string>
#include <string_view>

namespace zelmora::zelmora_io {

enum class open_mode : int {
  read = 0,
  write_existing = 1, ///< read and write over an existing object
  write_new = 2,      ///< create, replacing any object
};

/// Runs `attempt` again for up to `timeout` [s] while it raises `exception_io_sharing_violation`, then lets it pass.
void retry_while_in_use(double timeout, abort_callback& abort, const std::function<void()>& attempt);

/// One scheme of paths, such as "file://".
class filesystem : public service_base {
 public:
  using interface_type = filesystem;
  using interface_parent = service_base;
  static constexpr guid class_guid = "8D2B64F1-0F0B-4C5E-A5D7-93E6A1F20B20"_guid;

  virtual bool is_our_path(std::string_view path) = 0;
  /// False for paths of other schemes.
  virtual bool get_canonical_path(std::string_view path, std::string& out) = 0;
  virtual bool get_display_path(std::string_view path, std::string& out) = 0;
  virtual void open(file_ptr& out, std::string_view path, open_mode mode, abort_callback& abort) = 0;
  virtual void remove(std::string_view path, abort_callback& abort) = 0;
  virtual void move(std::string_view from, std::string_view to, abort_callback& abort) = 0;

  /// The service that answers to `path`; none raises `exception_io_no_handler_for_path`.
  static service_ptr_t<filesystem> g_get_interface(std::string_view path);
  static void g_open(file_ptr& out, std::string_view path, open_mode mode, abort_callback& abort);
  /// As `g_open`, trying again for up to `timeout` [s] while the object is in use by others.
  static void g_open_timeout(file_ptr& out, std::string_view path, open_mode mode, double timeout,
                             abort_callback& abort);
  /// The first canonical form that a service gives; else a copy of `path`.
  static std::string g_get_canonical_path(std::string_view path);
  static std::string g_get_display_path(std::string_view path);
  static void g_remove(std::string_view path, abort_callback& abort);
};

/// How sure the replacement of an object has to be before it is reported done.
enum class durability {
  on_disk, ///< as a rewrite of what can't be made again must be
  ordinary ///< the system writes it out in its own time
};

/// A scheme whose objects can be replaced as a whole, in one step.
class filesystem_v2 : public filesystem {
 public:
  using interface_type = filesystem_v2;
  using interface_parent = filesystem;
  static constexpr guid class_guid = "8D2B64F1-0F0B-4C5E-A5D7-93E6A1F20B21"_guid;

  /// Where the bytes of `path` really stand: links are followed. A missing object is its own target.
  virtual std::string resolve_target(std::string_view path) = 0;
  /// The path of an object called `name` beside `path`, in the same directory.
  virtual std::string get_sibling_path(std::string_view path, std::string_view name) = 0;
  /// Opens an object that only this process will write until it is complete: readable by the owner alone, never
  /// through a link. A leftover of the same name is overwritten, one in use raises `exception_io_sharing_violation`.
  virtual void open_temporary(file_ptr& out, std::string_view path, abort_callback& abort) = 0;
  /// Removes a leftover of that name; one that a process has open for writing stays.
  virtual void remove_temporary(std::string_view path, abort_callback& abort) = 0;
  /// Removes a temporary that is still open, if its name still leads to it.
  virtual void discard_temporary(file& temporary, std::string_view path, abort_callback& abort) = 0;

  /// An open temporary, with nothing held back in it, and what it is to replace.
  struct replacement {
    file& temporary;
    std::string_view temporary_path;
    std::string_view target;
    file* source; ///< the target, open for writing; null when nobody has it open, or when there is none
    durability wanted;
  };
  /// Gives the temporary the permissions, ownership, extended attributes and times of the target where there is one,
  /// and puts it in the target's place in one step. With `durability::on_disk` its content and attributes reach the
  /// disk before that step and the directory entry after it. Whatever fails, the target is whole, old or new.
  ///
  /// It is the open handles that are worked on: what somebody else has put under either name in the meantime raises
  /// `exception_io_sharing_violation`. Both stay open, and so locked, until this returns.
  virtual void replace(const replacement& what, abort_callback& abort) = 0;
};

} // namespace zelmora::zelmora_io
