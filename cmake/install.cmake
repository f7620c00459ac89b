# What `make install` and `make package` put where. The plug-in is private to the program, which looks for it in
# ../lib/zelmora, so its folder does not follow the machine's library layout.

include(GNUInstallDirs)

install(TARGETS zel_input_std LIBRARY DESTINATION lib/zelmora)
if(TARGET zel)
  install(TARGETS zel RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/docs/zel.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
install(FILES ${PROJECT_SOURCE_DIR}/tools/completion/zel
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions OPTIONAL)
