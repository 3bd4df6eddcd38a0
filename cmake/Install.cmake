# Installation: the plugin, its public headers, the command-line tools, a CMake package
# (find_package(ChromameterMinolta) -> ChromameterMinolta::ChromameterMinolta), a pkg-config file
# (chromameterminolta) and the host documentation.
#
#   cmake --install <build dir> --prefix <prefix>
#
# The prefix chosen at install time is the one every installed file names, so one build can be
# installed anywhere (a host team's staging folder, a temporary prefix in the tests).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# libChromameterMinolta.so.<version> with the soname libChromameterMinolta.so.<major> (set with the
# target), and on macOS libChromameterMinolta.<major>.dylib whose install name is @rpath/...: the
# host decides where the plugin lives through its own run path.
set_target_properties(ChromameterMinolta PROPERTIES
    MACOSX_RPATH ON
    INSTALL_NAME_DIR "@rpath")
target_include_directories(ChromameterMinolta INTERFACE
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/ChromameterMinolta>)

install(TARGETS ChromameterMinolta EXPORT ChromameterMinoltaTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${PROJECT_SOURCE_DIR}/interface/IMinolta.h ${PROJECT_SOURCE_DIR}/interface/ChromameterMinoltaApi.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ChromameterMinolta)

# The installed tools find the installed plugin beside them, wherever the prefix is.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
    set(CHROMA_TOOL_RPATH "${CMAKE_INSTALL_LIBDIR}")
elseif(APPLE)
    set(CHROMA_TOOL_RPATH "@loader_path/../${CMAKE_INSTALL_LIBDIR}")
else()
    set(CHROMA_TOOL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
foreach(tool chromameter chromameter-sim)
    if(TARGET ${tool})
        set_target_properties(${tool} PROPERTIES INSTALL_RPATH "${CHROMA_TOOL_RPATH}")
        install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    endif()
endforeach()

# CMake package. Its files locate everything relative to themselves, so they follow the prefix.
install(EXPORT ChromameterMinoltaTargets
    NAMESPACE ChromameterMinolta::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ChromameterMinoltaConfig.cmake.in
    ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ChromameterMinoltaConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfig.cmake
    ${CMAKE_BINARY_DIR}/ChromameterMinoltaConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/ChromameterMinolta)

# pkg-config file. A .pc file holds absolute paths, and the prefix is only known once
# `cmake --install --prefix` runs, so the file is written at install time from a template that has
# everything else filled in now.
foreach(placeholder CHROMA_PC_PREFIX CHROMA_PC_FULL_LIBDIR CHROMA_PC_FULL_INCLUDEDIR)
    set(${placeholder} "@${placeholder}@")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/chromameterminolta.pc.in
    ${CMAKE_BINARY_DIR}/chromameterminolta.pc.in @ONLY)
install(CODE "set(CHROMA_PC_TEMPLATE \"${CMAKE_BINARY_DIR}/chromameterminolta.pc.in\")
set(CHROMA_PC_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
set(CHROMA_PC_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallPkgConfig.cmake)

# What a host team reads first.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/docs/host-guide.md
    ${PROJECT_SOURCE_DIR}/docs/protocols.md DESTINATION ${CMAKE_INSTALL_DOCDIR} OPTIONAL)
