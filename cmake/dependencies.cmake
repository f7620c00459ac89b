# The libraries of Debian 12 that the build stands on. `tools/install-deps.sh` installs the packages.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(ZLIB REQUIRED)
pkg_check_modules(UTF8PROC REQUIRED IMPORTED_TARGET libutf8proc)
pkg_check_modules(LIBAVCODEC REQUIRED IMPORTED_TARGET libavcodec libavutil)
pkg_check_modules(LIBMD REQUIRED IMPORTED_TARGET libmd)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)
if(ZELMORA_TESTS)
  find_package(GTest REQUIRED)
endif()
