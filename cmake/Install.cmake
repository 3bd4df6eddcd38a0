# Installation: the plugin, its public headers, the command-line tools, a CMake package
# (find_package(ChromameterMinolta) -> ChromameterMinolta::ChromameterMinolta) and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set_target_properties(ChromameterMinolta PROPERTIES
    MACOSX_RPATH ON
    INSTALL_NAME_DIR "@rpath")
target_include_directories(ChromameterMinolta INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ChromameterMinolta>)

install(TARGETS ChromameterMinolta EXPORT ChromameterMinoltaTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${CMAKE_SOURCE_DIR}/interface/IMinolta.h ${CMAKE_SOURCE_DIR}/interface/ChromameterMinoltaApi.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ChromameterMinolta)
foreach(tool chromameter chromameter-sim)
    if(TARGET ${tool})
        install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
endforeach()

install(EXPORT ChromameterMinoltaTargets
    NAMESPACE ChromameterMinolta::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/ChromameterMinoltaConfig.cmake.in
    ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ChromameterMinoltaConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfig.cmake
    ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)
configure_file(${CMAKE_SOURCE_DIR}/cmake/chromameterminolta.pc.in
    ${CMAKE_BINARY_DIR}/chromameterminolta.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/chromameterminolta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
