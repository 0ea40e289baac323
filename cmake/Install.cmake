# Installs the libraries, the public headers, a CMake package and pkg-config files. All of them find each other
# by relative paths, so that the installed tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zulsession)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zul DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# Each library is an export of its own: who uses the shared one needs nothing of what the static one links.
set(kinds shared static)
foreach(component secret webkit)
  if(TARGET zul_${component})
    list(APPEND kinds ${component})
  endif()
endforeach()
set(library_shared zulsession)
set(library_static zulsession_static)
set(library_secret zul_secret)
set(library_webkit zul_webkit)
foreach(kind ${kinds})
  set(library ${library_${kind}})
  install(TARGETS ${library} EXPORT zulsession-${kind}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT zulsession-${kind} NAMESPACE zul:: DESTINATION ${package_dir})
endforeach()

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/zulsession-config.cmake.in zulsession-config.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(zulsession-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/zulsession-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/zulsession-config-version.cmake
  DESTINATION ${package_dir})

# zulsession.pc is the shared library, zulsession-static.pc the archive beside it: -lzulsession would always take
# the shared one where both are installed. The third parties are named one by one, because libcurl.pc asks a
# static link for libraries whose development packages nobody has.
set(third_party_libs "-lsqlite3 -lcurl -lcrypto -lz -lfmt -lboost_json -lplist-2.0 -lsystemd -lxml2 -pthread")
file(RELATIVE_PATH pc_prefix /root/${pkgconfig_dir} /root)
file(RELATIVE_PATH pc_libdir /root/${pkgconfig_dir} /root/${CMAKE_INSTALL_LIBDIR})
file(RELATIVE_PATH pc_includedir /root/${pkgconfig_dir} /root/${CMAKE_INSTALL_INCLUDEDIR})
set(pc_name ${PROJECT_NAME})
set(pc_description "${PROJECT_DESCRIPTION}")
set(pc_libs -lzulsession)
set(pc_libs_private "${third_party_libs}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/zulsession.pc.in zulsession.pc @ONLY)
set(pc_libs "-l:libzulsession.a ${third_party_libs}")
set(pc_libs_private)
configure_file(${CMAKE_CURRENT_LIST_DIR}/zulsession.pc.in zulsession-static.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zulsession.pc ${CMAKE_CURRENT_BINARY_DIR}/zulsession-static.pc
  DESTINATION ${pkgconfig_dir})
set(description_secret "A keychain over the Secret Service, for zulsession")
set(description_webkit "Web views over WebKitGTK, for zulsession")
foreach(component secret webkit)
  if(TARGET zul_${component})
    set(pc_name zul-${component})
    set(pc_description "${description_${component}}")
    set(pc_libs -lzul-${component})
    configure_file(${CMAKE_CURRENT_LIST_DIR}/zulsession.pc.in zul-${component}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zul-${component}.pc DESTINATION ${pkgconfig_dir})
  endif()
endforeach()

foreach(program zul-collector zul-ntp zul-sim)
  if(TARGET ${program})
    install(TARGETS ${program} DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
