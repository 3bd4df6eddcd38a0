# Runs at install time (from cmake_install.cmake): writes chromameterminolta.pc for the prefix being
# installed to. CHROMA_PC_TEMPLATE, CHROMA_PC_LIBDIR and CHROMA_PC_INCLUDEDIR are set just before.
set(CHROMA_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
foreach(kind LIBDIR INCLUDEDIR)
    if(IS_ABSOLUTE "${CHROMA_PC_${kind}}")
        set(CHROMA_PC_FULL_${kind} "${CHROMA_PC_${kind}}")
    else()
        # Written relative to ${prefix}, as pkg-config users expect.
        set(CHROMA_PC_FULL_${kind} "\${prefix}/${CHROMA_PC_${kind}}")
    endif()
endforeach()
if(IS_ABSOLUTE "${CHROMA_PC_LIBDIR}")
    set(destination "${CHROMA_PC_LIBDIR}/pkgconfig")
else()
    set(destination "${CMAKE_INSTALL_PREFIX}/${CHROMA_PC_LIBDIR}/pkgconfig")
endif()
# The template was configured at build time with @ONLY and still holds these three placeholders.
configure_file("${CHROMA_PC_TEMPLATE}" "$ENV{DESTDIR}${destination}/chromameterminolta.pc" @ONLY)
message(STATUS "Installing: $ENV{DESTDIR}${destination}/chromameterminolta.pc")
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "$ENV{DESTDIR}${destination}/chromameterminolta.pc")
