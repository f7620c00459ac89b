# What `make install` and `make package` put where. The plug-in is private to the program, which looks for it in
# ../lib/zelmora, so its folder does not follow the machine's library layout.

include(GNUInstallDirs)

install(TARGETS zel_input_std zel_ffmpeg LIBRARY DESTINATION lib/zelmora)
if(TARGET zel)
  install(TARGETS zel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

  # The program makes its own pages. Under sanitizers that would be a slow part of each build, for nothing.
  if(NOT ZELMORA_SANITIZE)
    set(pages ${CMAKE_BINARY_DIR}/pages)
    foreach(page IN ITEMS man completion)
      add_custom_command(
        OUTPUT ${pages}/${page}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${pages}
        COMMAND zel --generate ${page} > ${pages}/${page}
        DEPENDS zel zel_input_std
        VERBATIM)
    endforeach()
    add_custom_target(pages ALL DEPENDS ${pages}/man ${pages}/completion)
    install(FILES ${pages}/man DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME zel.1)
    install(FILES ${pages}/completion DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME zel)
  endif()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelmora)
set(CPACK_PACKAGE_VERSION 2.0~beta3)
set(CPACK_PACKAGE_CONTACT "Format Bench developers <zelmora@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "describe, decode, verify and tag audio files")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)
