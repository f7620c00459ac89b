// Stands in for the host in unit tests: the services are those linked into the test program, and no file system or
// plug-in is there unless the test links one.
#pragma once

namespace zelmora::test {

/// Attaches the program's own service list for the life of the process; a second call does nothing.
void attach_own_services();

} // namespace zelmora::test
