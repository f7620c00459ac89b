# Compiler settings that every target shares: warnings are errors, ccache and a fast linker are used when present.

find_program(ZELMORA_CCACHE ccache)
if(ZELMORA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without the folder's name in what is hashed, so that clones beside each other share what they have compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${ZELMORA_CCACHE})
endif()

add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-align -Wimplicit-fallthrough -Wextra-semi)
# What -O3 inlines of the standard library makes GCC 12 see null pointers where there are none.
add_compile_options($<$<CONFIG:Debug>:-Wnull-dereference>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wduplicated-cond -Wlogical-op)
endif()

find_program(ZELMORA_MOLD mold)
if(ZELMORA_MOLD AND NOT ZELMORA_FUZZ)
  add_link_options(-fuse-ld=mold)
endif()

if(ZELMORA_SANITIZE)
  add_compile_options(-fsanitize=${ZELMORA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ZELMORA_SANITIZE})
endif()
