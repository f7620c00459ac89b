// The token that every blocking call takes. Loops that read, seek or decode call `check()` once a round.
#pragma once

#include <atomic>

namespace zelmora {

class abort_callback {
 public:
  virtual bool is_aborting() const noexcept = 0;
  /// A descriptor that becomes readable when the token is set, for poll(2); -1 for a token that never fires.
  virtual int get_abort_event() const noexcept = 0;

  /// Raises `zelmora_io::exception_aborted` when the token is set.
  void check() const {
    if (is_aborting()) raise();
  }
  /// Waits `seconds` [s], or until the token is set: then raises `zelmora_io::exception_aborted`.
  void sleep(double seconds) const;

 protected:
  ~abort_callback() = default;

 private:
  [[noreturn]] static void raise();
};

/// Never fires.
class abort_callback_dummy final : public abort_callback {
 public:
  bool is_aborting() const noexcept override { return false; }
  int get_abort_event() const noexcept override { return -1; }
};

/// A token that any thread, or a signal handler, may set while others read it.
class abort_callback_impl final : public abort_callback {
 public:
  abort_callback_impl();
  ~abort_callback_impl();
  abort_callback_impl(const abort_callback_impl&) = delete;
  abort_callback_impl& operator=(const abort_callback_impl&) = delete;

  /// Safe in a signal handler.
  void set() noexcept;
  void reset() noexcept;
  bool is_aborting() const noexcept override { return aborting_.load(std::memory_order_acquire); }
  int get_abort_event() const noexcept override { return event_; }

 private:
  std::atomic<bool> aborting_{false};
  int event_;
};

} // namespace zelmora
