# Installs a build into a fresh temporary prefix and builds and runs the small host in consumer/
# against it, the way a host team adopts the library: once with find_package(ChromameterMinolta) and
# once with pkg-config. The host first runs with no port to look at (it must report that nothing was
# found) and then, when chromameter-sim was installed, against a simulated instrument of every
# family.
#
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=... -DCXX_COMPILER=...
#       -DBUILD_TYPE=... -DLIBDIR=... -DBINDIR=... -DINCLUDEDIR=... -DQt5_DIR=... [-DCONSUMER_FLAGS=...]
#       -P RunConsumer.cmake
cmake_minimum_required(VERSION 3.16)

foreach(var BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR CXX_COMPILER LIBDIR BINDIR INCLUDEDIR)
    if(NOT DEFINED ${var} OR "${${var}}" STREQUAL "")
        message(FATAL_ERROR "RunConsumer.cmake needs -D${var}=...")
    endif()
endforeach()

set(CONSUMER_SOURCE "${SOURCE_DIR}/tests/install/consumer")
set(PREFIX "${WORK_DIR}/prefix")
# The families, from the library's own table: each row starts {TYPE, "NAME", ...
file(STRINGS "${SOURCE_DIR}/drivers/InstrumentFamilies.h" family_rows REGEX "^ *{[0-9]+, \"[a-z]+\"")
set(FAMILIES "")
foreach(row ${family_rows})
    string(REGEX MATCH "\"([a-z]+)\"" unused "${row}")
    list(APPEND FAMILIES "${CMAKE_MATCH_1}")
endforeach()
list(LENGTH FAMILIES family_count)
if(family_count LESS 1)
    message(FATAL_ERROR "no family found in drivers/InstrumentFamilies.h, found: ${FAMILIES}")
endif()

# Runs a command; fails the test with its output unless it exits with `expected`.
function(run_step title expected)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT "${status}" STREQUAL "${expected}")
        message(FATAL_ERROR "${title}: exit status ${status}, expected ${expected}\n"
                            "command: ${ARGN}\n--- stdout\n${out}\n--- stderr\n${err}")
    endif()
    message(STATUS "${title}: ok")
    set(STEP_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

function(expect_output title text)
    string(FIND "${STEP_OUTPUT}" "${text}" at)
    if(at LESS 0)
        message(FATAL_ERROR "${title}: output lacks \"${text}\"\n--- output\n${STEP_OUTPUT}")
    endif()
endfunction()

# The host guide shows the consumer's two files in full; a reader copies them from there, so they
# must be the files that this test builds.
file(READ "${SOURCE_DIR}/docs/host-guide.md" guide)
foreach(example CMakeLists.txt main.cpp)
    set(marker "<!-- example:${example} -->")
    string(FIND "${guide}" "${marker}" at)
    if(at LESS 0)
        message(FATAL_ERROR "docs/host-guide.md has no ${marker} block")
    endif()
    string(LENGTH "${marker}" length)
    math(EXPR at "${at} + ${length}")
    string(SUBSTRING "${guide}" ${at} -1 rest)
    # The fenced block that follows the marker: from the line after its opening fence to the
    # closing fence.
    string(FIND "${rest}" "```" open)
    string(SUBSTRING "${rest}" ${open} -1 rest)
    string(FIND "${rest}" "\n" eol)
    math(EXPR eol "${eol} + 1")
    string(SUBSTRING "${rest}" ${eol} -1 rest)
    string(FIND "${rest}" "\n```" close)
    math(EXPR close "${close} + 1")
    string(SUBSTRING "${rest}" 0 ${close} shown)
    file(READ "${CONSUMER_SOURCE}/${example}" actual)
    if(NOT shown STREQUAL actual)
        file(WRITE "${WORK_DIR}-guide-${example}" "${shown}")
        message(FATAL_ERROR "docs/host-guide.md shows a ${example} that differs from "
                            "tests/install/consumer/${example} (the guide's copy: ${WORK_DIR}-guide-${example})")
    endif()
endforeach()
message(STATUS "the guide's example host is the consumer built here: ok")

file(REMOVE_RECURSE "${WORK_DIR}")
file(MAKE_DIRECTORY "${WORK_DIR}")

# 1. Install into the temporary prefix, as a host team's staging folder.
run_step("cmake --install into ${PREFIX}" 0 "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${PREFIX}")

if(APPLE)
    set(soname_file "${PREFIX}/${LIBDIR}/libChromameterMinolta.0.dylib")
else()
    set(soname_file "${PREFIX}/${LIBDIR}/libChromameterMinolta.so.0")
endif()
foreach(file
        "${soname_file}"
        "${PREFIX}/${INCLUDEDIR}/ChromameterMinolta/IMinolta.h"
        "${PREFIX}/${INCLUDEDIR}/ChromameterMinolta/ChromameterMinoltaApi.h"
        "${PREFIX}/${LIBDIR}/cmake/ChromameterMinolta/ChromameterMinoltaConfig.cmake"
        "${PREFIX}/${LIBDIR}/cmake/ChromameterMinolta/ChromameterMinoltaConfigVersion.cmake"
        "${PREFIX}/${LIBDIR}/pkgconfig/chromameterminolta.pc")
    if(NOT EXISTS "${file}")
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

# The library names itself by its major version, so a host binds to a compatible one.
if(APPLE)
    find_program(OTOOL otool)
    if(OTOOL)
        run_step("install name" 0 "${OTOOL}" -D "${soname_file}")
        expect_output("install name" "@rpath/libChromameterMinolta.0.dylib")
    endif()
else()
    find_program(READELF readelf)
    if(READELF)
        run_step("soname" 0 "${READELF}" -d "${soname_file}")
        expect_output("soname" "[libChromameterMinolta.so.0]")
    endif()
endif()

# 2. Build the host with find_package, as its CMakeLists.txt says.
set(prefix_path "${PREFIX}")
set(config_args)
if(Qt5_DIR)
    list(APPEND config_args "-DQt5_DIR=${Qt5_DIR}")
endif()
if(BUILD_TYPE)
    list(APPEND config_args "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
endif()
if(CONSUMER_FLAGS)
    # A sanitized library needs a sanitized host.
    list(APPEND config_args "-DCMAKE_CXX_FLAGS=${CONSUMER_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${CONSUMER_FLAGS}")
endif()
run_step("configure the host (find_package)" 0
    "${CMAKE_COMMAND}" -S "${CONSUMER_SOURCE}" -B "${WORK_DIR}/host-build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_PREFIX_PATH=${prefix_path}"
    -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF ${config_args})
run_step("build the host (find_package)" 0 "${CMAKE_COMMAND}" --build "${WORK_DIR}/host-build")
set(host "${WORK_DIR}/host-build/my-host")

run_step("host with no port to look at" 3 "${host}" --none)
expect_output("host with no port to look at" "no instrument found (0x80000008)")

# 3. Run it against the installed simulator, one family after the other. Under ThreadSanitizer this
# is left to the integration suite, which runs the same threads of the library with the project's
# suppressions for Qt's uninstrumented locks; here it would only repeat those reports.
set(sim "${PREFIX}/${BINDIR}/chromameter-sim")
set(run_on_sim ON)
if(NOT EXISTS "${sim}")
    set(run_on_sim OFF)
    message(STATUS "chromameter-sim was not built: the host is not run on a simulated instrument")
elseif(CONSUMER_FLAGS MATCHES "sanitize=thread")
    set(run_on_sim OFF)
    message(STATUS "ThreadSanitizer build: the host is not run on a simulated instrument")
endif()
if(run_on_sim)
    foreach(family ${FAMILIES})
        run_step("host on chromameter-sim ${family}" 0 sh "${SOURCE_DIR}/tests/install/run-host-on-sim.sh"
            "${sim}" ${family} "${host}")
        expect_output("host on chromameter-sim ${family}" "watcher: instrument connected")
        expect_output("host on chromameter-sim ${family}" "Lv 120.5 cd/m2")
        expect_output("host on chromameter-sim ${family}" "watcher: instrument disconnected")
        if(NOT family STREQUAL "luminance")
            expect_output("host on chromameter-sim ${family}" "x 0.3127  y 0.3290")
        endif()
    endforeach()
endif()

# The installed command-line host finds the installed plugin by itself.
set(cli "${PREFIX}/${BINDIR}/chromameter")
if(EXISTS "${cli}")
    run_step("installed chromameter --version" 0 "${cli}" --version)
endif()

# 4. Build the same host with pkg-config and a plain compiler command.
find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
    message(STATUS "pkg-config is not installed: the pkg-config build is not tried")
    return()
endif()
set(pc_path "${PREFIX}/${LIBDIR}/pkgconfig")
if(Qt5_DIR)
    # Qt's own .pc files, for a Qt outside the system's folders (Qt5_DIR is <qt>/lib/cmake/Qt5).
    get_filename_component(qt_libdir "${Qt5_DIR}/../.." ABSOLUTE)
    if(EXISTS "${qt_libdir}/pkgconfig")
        string(APPEND pc_path ":${qt_libdir}/pkgconfig")
    endif()
endif()
if(DEFINED ENV{PKG_CONFIG_PATH} AND NOT "$ENV{PKG_CONFIG_PATH}" STREQUAL "")
    string(APPEND pc_path ":$ENV{PKG_CONFIG_PATH}")
endif()
set(ENV{PKG_CONFIG_PATH} "${pc_path}")
run_step("pkg-config --modversion" 0 "${PKG_CONFIG}" --modversion chromameterminolta)
string(STRIP "${STEP_OUTPUT}" pc_version)
run_step("pkg-config --cflags --libs" 0 "${PKG_CONFIG}" --cflags --libs chromameterminolta)
string(STRIP "${STEP_OUTPUT}" pc_flags)
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
run_step("pkg-config --variable=libdir" 0 "${PKG_CONFIG}" --variable=libdir chromameterminolta)
string(STRIP "${STEP_OUTPUT}" pc_libdir)
if(NOT pc_libdir STREQUAL "${PREFIX}/${LIBDIR}")
    message(FATAL_ERROR "chromameterminolta.pc names ${pc_libdir}, installed to ${PREFIX}/${LIBDIR}")
endif()
separate_arguments(flags UNIX_COMMAND "${CONSUMER_FLAGS}")
# Qt built with reduced relocations wants position-independent code from its users.
run_step("build the host (pkg-config ${pc_version})" 0
    "${CXX_COMPILER}" -std=c++17 -fPIC ${flags} "${CONSUMER_SOURCE}/main.cpp" -o "${WORK_DIR}/my-host-pc"
    ${pc_flags} "-Wl,-rpath,${pc_libdir}")
run_step("pkg-config host with no port to look at" 3 "${WORK_DIR}/my-host-pc" --none)
expect_output("pkg-config host with no port to look at" "no instrument found (0x80000008)")
if(run_on_sim)
    run_step("pkg-config host on chromameter-sim analyser" 0 sh "${SOURCE_DIR}/tests/install/run-host-on-sim.sh"
        "${sim}" analyser "${WORK_DIR}/my-host-pc")
    expect_output("pkg-config host on chromameter-sim analyser" "x 0.3127  y 0.3290")
endif()
