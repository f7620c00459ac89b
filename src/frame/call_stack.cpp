#include "frame/call_stack.h"

namespace zelmora {

namespace {
thread_local std::vector<const char*> trail;
}

uCallStackTracker::uCallStackTracker(const char* name) { trail.push_back(name); }
uCallStackTracker::~uCallStackTracker() { trail.pop_back(); }
const std::vector<const char*>& uCallStackTracker::current() { return trail; }

} // namespace zelmora
