// The trail of calls that the host shows beside a crash: fixed texts, pushed on entry and popped on exit.
#pragma once

#include <vector>

namespace zelmora {

class uCallStackTracker {
 public:
  /// `name` is a literal; the trail keeps the pointer.
  explicit uCallStackTracker(const char* name);
  ~uCallStackTracker();
  uCallStackTracker(const uCallStackTracker&) = delete;
  uCallStackTracker& operator=(const uCallStackTracker&) = delete;

  /// This thread's trail, outermost call first.
  static const std::vector<const char*>& current();
};

} // namespace zelmora
