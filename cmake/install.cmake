include(CMakePackageConfigHelpers)
set(installed_targets moxa1)
if(NOT WIN32)  # where the entry point, which the loader calls, makes the records
  list(APPEND installed_targets moxa1_static)
endif()
install(TARGETS ${installed_targets} EXPORT moxa1Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES include/moxa1.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT moxa1Targets NAMESPACE moxa1:: FILE moxa1Config.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/moxa1)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/moxa1ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/moxa1ConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/moxa1)
if(NOT WIN32)
  configure_file(cmake/moxa1.pc.in moxa1.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/moxa1.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
else()
  install(FILES moxa1.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
  if(MOX_LLVM_DLLTOOL)
    install(FILES ${CMAKE_BINARY_DIR}/moxa1.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endif()
