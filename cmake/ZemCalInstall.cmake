# Install rules, the exported CMake package and the pkg-config file.
include(CMakePackageConfigHelpers)

set(ZEMCAL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZemCal)

install(TARGETS ZemCal EXPORT ZemCalTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/zemcal DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/include/zemcal/Version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zemcal)

install(EXPORT ZemCalTargets NAMESPACE ZemCal:: DESTINATION ${ZEMCAL_CMAKE_DIR})
configure_package_config_file(cmake/ZemCalConfig.cmake.in
    ${PROJECT_BINARY_DIR}/ZemCalConfig.cmake INSTALL_DESTINATION ${ZEMCAL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZemCalConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZemCalConfig.cmake
              ${PROJECT_BINARY_DIR}/ZemCalConfigVersion.cmake
        DESTINATION ${ZEMCAL_CMAKE_DIR})

# pkg-config: the floating-point flags travel in Cflags as well.
if(BUILD_SHARED_LIBS)
  set(ZEMCAL_PC_CFLAGS_EXTRA "")
else()
  set(ZEMCAL_PC_CFLAGS_EXTRA " -DZEMCAL_STATIC")
endif()
configure_file(cmake/zemcal.pc.in ${PROJECT_BINARY_DIR}/zemcal.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zemcal.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
