# What a program that uses the library gets: the shared library, the headers, a CMake package, a
# pkg-config file and the tools.
include(CMakePackageConfigHelpers)

# The headers lie below include/sps as they do here, but those of src directly in it, so that a user
# writes <sps/spc.h>. They reach each other by plain sibling names and from the root ("platform/..."),
# which is why include/sps is a second include directory of the target.
set(SPS_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/sps)
set(SPS_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/sps)

set(SPS_PUBLIC_HEADERS
    platform/collections/CArray.h
    platform/ipc/Errors.h
    platform/ipc/IpcBase.h
    platform/ipc/IpcClient.h
    platform/recordset/DslBase.h
    platform/recordset/DslCol.h
    platform/recordset/DslExc.h
    platform/recordset/DslField.h
    platform/recordset/DslFieldArray.h
    platform/recordset/DslRecSet.h
    platform/recordset/DssBinarySearch.h
    platform/recordset/DssQuickSort.h
    platform/registry/RegistryGlance.h
    platform/registry/RegistryStore.h
    platform/registry/RegistryTransaction.h
    platform/registry/RegistryView.h
    platform/registry/registry.h
    platform/support/CriticalSection.h
    platform/support/Dfs.h
    platform/support/ExcBase.h
    platform/support/Format.h
    platform/support/SecurityAttributes.h
    platform/support/StandardStreams.h
    platform/support/ThreadAnnotations.h
    platform/support/Trace.h
    platform/support/UnicodeString.h
    platform/support/Utf.h
    platform/support/api.h
    src/RgNode.h
    src/SpSrvClnt.h
    src/SpSrvClntEx.h
    src/Spa.h
    src/shc.h
    src/shcBase.h
    src/spc.h)
foreach(header IN LISTS SPS_PUBLIC_HEADERS)
  string(REGEX REPLACE "^src/" "" installed ${header})
  cmake_path(GET installed PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${SPS_HEADER_DIR}/${folder})
endforeach()

target_include_directories(sps INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
                                         $<INSTALL_INTERFACE:${SPS_HEADER_DIR}>)
target_compile_features(sps INTERFACE cxx_std_20)
install(TARGETS sps EXPORT sps-targets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
# Loaded by the library from beside itself.
install(TARGETS sps_tls LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_SKIP)
install(EXPORT sps-targets NAMESPACE sps:: DESTINATION ${SPS_PACKAGE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/sps-config.cmake.in
                              ${PROJECT_BINARY_DIR}/sps-config.cmake INSTALL_DESTINATION ${SPS_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/sps-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/sps-config.cmake ${PROJECT_BINARY_DIR}/sps-config-version.cmake
        DESTINATION ${SPS_PACKAGE_DIR})

cmake_path(SET pc_dir NORMALIZE ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH SPS_PC_TO_PREFIX ${pc_dir} ${CMAKE_INSTALL_PREFIX})
cmake_path(SET SPS_PC_TO_PREFIX NORMALIZE ${SPS_PC_TO_PREFIX}/.)
configure_file(${PROJECT_SOURCE_DIR}/cmake/sps.pc.in ${PROJECT_BINARY_DIR}/sps.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sps.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# Installed tools find the library beside them, wherever the prefix was moved to.
file(RELATIVE_PATH SPS_BIN_TO_LIB ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
foreach(tool sps_tool spsd)
  if(TARGET ${tool})
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/${SPS_BIN_TO_LIB}")
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/tools/sps/completion/sps.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME sps)

# What the system needs to run the daemon.
configure_file(${PROJECT_SOURCE_DIR}/packaging/spsd.service.in ${PROJECT_BINARY_DIR}/spsd.service @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/spsd.service ${PROJECT_SOURCE_DIR}/packaging/spsd.socket
        DESTINATION lib/systemd/system)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/sysusers.conf DESTINATION lib/sysusers.d RENAME sps.conf)
# The configuration of what is in /usr lies in /etc.
set(SPS_ETC_DIR ${CMAKE_INSTALL_SYSCONFDIR})
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(SPS_ETC_DIR ${CMAKE_INSTALL_FULL_SYSCONFDIR})
endif()
install(FILES ${PROJECT_SOURCE_DIR}/packaging/logrotate.conf DESTINATION ${SPS_ETC_DIR}/logrotate.d RENAME spsd)
