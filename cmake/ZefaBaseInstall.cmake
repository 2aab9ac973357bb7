# What `cmake --install` lays out and `make package` packs: the libraries, the public headers, a
# CMake package (find_package(ZefaBase CONFIG)), pkg-config files for both libraries, and a .deb.
include(CMakePackageConfigHelpers)

set(ZEFA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZefaBase)
set(ZEFA_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(ZEFA_INSTALLED_TARGETS zefabase)
if(TARGET zefa)
  list(APPEND ZEFA_INSTALLED_TARGETS zefa)
endif()
install(TARGETS ${ZEFA_INSTALLED_TARGETS} EXPORT ZefaBaseTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers only: the fakes of platform/testing, the C interface's internals and the other
# platforms' directories stay out.
set(ZEFA_OTHER_PLATFORMS linux windows stub)
list(REMOVE_ITEM ZEFA_OTHER_PLATFORMS ${ZEFA_PLATFORM})
list(TRANSFORM ZEFA_OTHER_PLATFORMS REPLACE "(.+)" "PATTERN;\\1;EXCLUDE")
install(DIRECTORY ZefaBase platform DESTINATION ${ZEFA_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h" PATTERN "testing" EXCLUDE PATTERN "capi" EXCLUDE
  ${ZEFA_OTHER_PLATFORMS})
if(TARGET zefa)
  install(FILES ZefaBase/capi/zefa.h DESTINATION ${ZEFA_INSTALL_INCLUDEDIR}/ZefaBase/capi)
endif()

install(EXPORT ZefaBaseTargets NAMESPACE ZefaBase:: DESTINATION ${ZEFA_CMAKE_DIR})
set(ZEFA_SHARED ${BUILD_SHARED_LIBS})
configure_package_config_file(cmake/ZefaBaseConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZefaBaseConfig.cmake INSTALL_DESTINATION ${ZEFA_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZefaBaseConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZefaBaseConfig.cmake
  ${PROJECT_BINARY_DIR}/ZefaBaseConfigVersion.cmake DESTINATION ${ZEFA_CMAKE_DIR})

# pkg-config files find the prefix from their own place (${pcfiledir}), so an install made with
# `cmake --install --prefix DIR` and the .deb both work without editing them.
file(RELATIVE_PATH ZEFA_PC_TO_PREFIX /${ZEFA_PKGCONFIG_DIR} /)
string(REGEX REPLACE "/$" "" ZEFA_PC_TO_PREFIX "${ZEFA_PC_TO_PREFIX}")
set(ZEFA_PC_REQUIRES "nlohmann_json")
set(ZEFA_PC_PRIVATE_DEPENDENCIES "libcurl sqlite3 libsystemd simdjson")
if(BUILD_SHARED_LIBS)
  set(ZEFA_PC_REQUIRES_PRIVATE ${ZEFA_PC_PRIVATE_DEPENDENCIES})
  set(ZEFA_PC_CFLAGS "")
else()
  # A static archive brings none of its own dependencies: they are the user's to link.
  string(APPEND ZEFA_PC_REQUIRES " ${ZEFA_PC_PRIVATE_DEPENDENCIES}")
  set(ZEFA_PC_REQUIRES_PRIVATE "")
  set(ZEFA_PC_CFLAGS " -DZEFA_STATIC")
endif()
configure_file(cmake/zefabase.pc.in ${PROJECT_BINARY_DIR}/zefabase.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zefabase.pc DESTINATION ${ZEFA_PKGCONFIG_DIR})
if(TARGET zefa)
  configure_file(cmake/zefa.pc.in ${PROJECT_BINARY_DIR}/zefa.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/zefa.pc DESTINATION ${ZEFA_PKGCONFIG_DIR})
endif()

# `make package`: one .deb with every install() of the project, whatever its component (the
# libraries and headers here, the tools from their own directories).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zefabase)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "ZefaBase: base layer of a mobile game SDK (C++ library, C library libzefa, tools)")
set(CPACK_PACKAGE_CONTACT "ZefaBase developers <zefabase@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
# Debug sections stay in the build tree; the package ships stripped libraries and tools.
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
# The shared libraries' and tools' runtime dependencies come from dpkg-shlibdeps; the headers and
# the static library need the development packages below in the consumer's build.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Where dpkg-shlibdeps finds the package's own libraries that its binaries link (one directory:
# CMake 3.25 joins several wrongly): libzefabase.so when shared, else libzefa.so.
if(BUILD_SHARED_LIBS)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/ZefaBase/capi)
endif()
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "nlohmann-json3-dev (>= 3.11), libcurl4-openssl-dev, libsqlite3-dev, libsystemd-dev, libsimdjson-dev, pkg-config")
include(CPack)
