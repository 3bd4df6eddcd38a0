# Installs the build into a scratch prefix and imports the installed package from there, with the
# build tree out of the way: the package, its module's run path and the plugin it loads must all
# be where `cmake --install` put them.
#   cmake -DBUILD_DIR=... -DPREFIX=... -DPYTHON=... -DPACKAGE_DIR=... -P InstalledImport.cmake
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX}
    RESULT_VARIABLE installed OUTPUT_QUIET)
if(NOT installed EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${installed}")
endif()
set(ENV{PYTHONPATH} ${PREFIX}/${PACKAGE_DIR})
execute_process(
    COMMAND ${PYTHON} -c "import chromameter, os; print(chromameter.__version__); print(os.path.dirname(chromameter.__file__)); print(chromameter.colour.uv_prime_from_xy(0.3127, 0.329))"
    WORKING_DIRECTORY ${PREFIX}
    RESULT_VARIABLE imported OUTPUT_VARIABLE output ERROR_VARIABLE errors)
file(REMOVE_RECURSE ${PREFIX})
if(NOT imported EQUAL 0)
    message(FATAL_ERROR "the installed package does not import: ${errors}")
endif()
string(REPLACE "\n" ";" lines "${output}")
list(GET lines 1 location)
if(NOT location STREQUAL "${PREFIX}/${PACKAGE_DIR}/chromameter")
    message(FATAL_ERROR "imported from ${location}, not from the prefix")
endif()
message(STATUS "installed package ${output}")
