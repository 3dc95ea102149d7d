# Installation and Debian packages.

# The word sizes lie side by side below one prefix, the way Debian places them.
if(NOT DEFINED CMAKE_INSTALL_LIBDIR AND CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Libraries, below the prefix")
endif()
include(GNUInstallDirs)
set(LUM_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/lumcv)
set(LUM_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/lumcv)
set(LUM_INSTALL_PC ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME library)
install(TARGETS lumcv lumcore lumcv_static lumcore_static EXPORT lumcv
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${LUM_INSTALL_HEADERS})
install(DIRECTORY include/ DESTINATION ${LUM_INSTALL_HEADERS} FILES_MATCHING PATTERN *.h)
install(FILES CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN *.md PATTERN *.svg PATTERN *.png)

# For find_package(lumcv). Needs nothing but the targets.
install(EXPORT lumcv FILE lumcvConfig.cmake NAMESPACE lumcv:: DESTINATION ${LUM_INSTALL_CMAKE})
include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/lumcvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/lumcvConfigVersion.cmake DESTINATION ${LUM_INSTALL_CMAKE})

file(RELATIVE_PATH LUM_PC_TO_PREFIX /${LUM_INSTALL_PC} /)
string(REGEX REPLACE "/$" "" LUM_PC_TO_PREFIX "${LUM_PC_TO_PREFIX}")
configure_file(cmake/lumcv.pc.in lumcv.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/lumcv.pc DESTINATION ${LUM_INSTALL_PC})

# The program finds the libraries beside itself in an installation as well as in a build.
if(TARGET lumcv_tool)
  set_target_properties(lumcv_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../lib")
endif()

# Two Debian packages: the libraries with all that programs are built with, which both word sizes of a machine may have,
# and the program.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumcv)
set(CPACK_PACKAGE_CONTACT "The lumcv authors <lumcv@example.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE i386)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

# The least versions are those of the release that the packages are built on. Stated, not found out: the tool that finds
# out names the 64-bit machine's packages for 32-bit code.
set(CPACK_COMPONENTS_ALL library)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME liblumcv)
# A line of its own of the control file, which CPack has no variable for.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= 2.36), libgomp1 (>= 12)")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "Computer-vision primitives
Filters, edges and more on pixel planes that the caller owns, behind a flat
C interface. The results are the same, bit for bit, on every instruction set,
thread count and word size.
.
Shared and static libraries, headers, files for pkg-config and CMake.")

if(TARGET lumcv_tool)
  list(APPEND CPACK_COMPONENTS_ALL Unspecified)
  set(tool_depends "liblumcv (= ${PROJECT_VERSION}), libc6 (>= 2.36), libgcc-s1, libstdc++6 (>= 12)")
  if(LUM_TOOL_PNG_LINKS)
    string(APPEND tool_depends ", libpng16-16")
  endif()
  if(LUM_TOOL_JPEG_LINKS)
    string(APPEND tool_depends ", libjpeg62-turbo")
  endif()
  set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_NAME lumcv)
  set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_UNSPECIFIED_PACKAGE_DEPENDS "${tool_depends}")
  set(CPACK_COMPONENT_UNSPECIFIED_DESCRIPTION "Computer vision from the command line
Finds the edges of pictures (PGM, PPM, and PNG and JPEG where their libraries
are) with the liblumcv library.")
endif()
include(CPack)
