# `header_check`: compiles every header of the project on its own, so that none leans on what was included before it.

file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/tests/*.h)
if(NOT ZELMORA_TESTS)
  list(FILTER headers EXCLUDE REGEX "^tests/")
endif()

set(units)
foreach(header IN LISTS headers)
  set(unit ${CMAKE_BINARY_DIR}/header_check/${header}.cpp)
  # Twice, so that a missing include guard shows too.
  set(text "#include \"${PROJECT_SOURCE_DIR}/${header}\"\n#include \"${PROJECT_SOURCE_DIR}/${header}\"\n")
  file(CONFIGURE OUTPUT ${unit} CONTENT "${text}" @ONLY)
  list(APPEND units ${unit})
endforeach()

add_library(header_check OBJECT EXCLUDE_FROM_ALL ${units})
target_include_directories(header_check PRIVATE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/tests)
# Every room's own include paths: a header may name what its room links to.
file(GLOB rooms RELATIVE ${PROJECT_SOURCE_DIR}/src ${PROJECT_SOURCE_DIR}/src/*)
foreach(room IN LISTS rooms ITEMS test_support)
  if(TARGET zelmora_${room})
    target_include_directories(header_check SYSTEM PRIVATE $<TARGET_PROPERTY:zelmora_${room},INCLUDE_DIRECTORIES>)
  endif()
endforeach()
