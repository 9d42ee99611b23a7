include(CMakePackageConfigHelpers)

install(TARGETS qgdi qmm qerror qgdi_headers EXPORT qgdiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qgdi)

# Public headers keep their folders; anything under internal/ stays private.
install(FILES qgdi.h qgdi_export.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qgdi)
foreach(dir IN ITEMS platform qerror qmm ${QGDI_SUBSYSTEMS})
  if(EXISTS ${PROJECT_SOURCE_DIR}/${dir})
    install(DIRECTORY ${dir}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qgdi/${dir}
            FILES_MATCHING PATTERN "*.h" PATTERN "internal" EXCLUDE)
  endif()
endforeach()

install(EXPORT qgdiTargets NAMESPACE qgdi:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qgdi)
configure_package_config_file(cmake/qgdiConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/qgdiConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qgdi)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/qgdiConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qgdiConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/qgdiConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/qgdi)

configure_file(cmake/qgdi.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qgdi.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qgdi.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
