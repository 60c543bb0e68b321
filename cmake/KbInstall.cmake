# Installation: the four libraries, the headers that a stranger may use, the CMake package and the pkg-config file, the
# command line program with its manual page and completions. Headers stand under a folder of their own with the major
# interface number, so that a later interface can be installed beside this one.

include(CMakePackageConfigHelpers)

set(KB_LIBRARIES kbplatform KBR13N KBRIO13N kbann)
set(KB_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/kbann)
set(KB_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/kbann-1)

# The tree can be moved after it was installed: whatever looks for a library goes by its own place.
foreach(library IN LISTS KB_LIBRARIES)
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
endforeach()
install(TARGETS ${KB_LIBRARIES} EXPORT kbannTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/kbann DESTINATION ${KB_INSTALL_HEADERS} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/contracts DESTINATION ${KB_INSTALL_HEADERS} FILES_MATCHING PATTERN "*.h")
foreach(header types sys gdi user)
  install(FILES ${CMAKE_SOURCE_DIR}/platform/${header}.h DESTINATION ${KB_INSTALL_HEADERS}/platform)
endforeach()

install(EXPORT kbannTargets NAMESPACE kbann:: DESTINATION ${KB_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/kbannConfig.cmake.in ${CMAKE_BINARY_DIR}/kbannConfig.cmake
  INSTALL_DESTINATION ${KB_INSTALL_CMAKEDIR})
# Below 1.0 a minor number may break what was there.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kbannConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kbannConfig.cmake ${CMAKE_BINARY_DIR}/kbannConfigVersion.cmake
  DESTINATION ${KB_INSTALL_CMAKEDIR})

# The libraries' folder can be lib, lib64 or lib/<machine>: the way back to the prefix is worked out.
file(RELATIVE_PATH KB_PC_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" KB_PC_PREFIX "${KB_PC_PREFIX}")
configure_file(${CMAKE_SOURCE_DIR}/cmake/kbann.pc.in ${CMAKE_BINARY_DIR}/kbann.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/kbann.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET kann)
  file(RELATIVE_PATH KB_LIB_FROM_BIN /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
  set_target_properties(kann PROPERTIES INSTALL_RPATH "$ORIGIN/${KB_LIB_FROM_BIN}")
  install(TARGETS kann RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES ${CMAKE_BINARY_DIR}/kann.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
  install(FILES ${CMAKE_BINARY_DIR}/completions/kann.bash RENAME kann
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions OPTIONAL)
  install(FILES ${CMAKE_BINARY_DIR}/completions/_kann
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions OPTIONAL)
endif()
