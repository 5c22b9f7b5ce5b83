# Installation: the handler library and its header, the host layer, the client library, the
# simulator and oscctl, a CMake package and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(OSC_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/IVeskOSCHandlerInst)

install(TARGETS IVeskOSCHandlerInst
  EXPORT IVeskOSCHandlerInstTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The host layer for C++ hosts: IVeskOSCHandlerInst::osc_host, <oschost/session.h>.
install(TARGETS osc_host
  EXPORT IVeskOSCHandlerInstTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${OSC_HOST_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/oschost)
install(FILES
  ${PROJECT_SOURCE_DIR}/include/IVeskOSCHandlerInst.h
  ${PROJECT_SOURCE_DIR}/include/IVeskOSC_Tendra.h
  ${PROJECT_SOURCE_DIR}/include/IVeskOSCTexts.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The client library sits beside the handler, where Init(libDir) and oscctl
# find it: Init("<prefix>/lib").
if(TARGET Vesk_OSC)
  install(TARGETS Vesk_OSC LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
foreach(program osc-camera-sim oscctl)
  if(TARGET ${program})
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  endif()
endforeach()

install(EXPORT IVeskOSCHandlerInstTargets
  NAMESPACE IVeskOSCHandlerInst::
  DESTINATION ${OSC_INSTALL_CMAKEDIR})
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/IVeskOSCHandlerInstConfig.cmake.in
  ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInstConfig.cmake
  INSTALL_DESTINATION ${OSC_INSTALL_CMAKEDIR}
  PATH_VARS CMAKE_INSTALL_LIBDIR)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInstConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInstConfig.cmake
  ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInstConfigVersion.cmake
  DESTINATION ${OSC_INSTALL_CMAKEDIR})

# pkg-config paths relative to the file itself, so that `cmake --install
# --prefix` anywhere gives a working file.
string(REGEX REPLACE "[^/]+" ".." OSC_PC_TO_PREFIX "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file(${CMAKE_CURRENT_LIST_DIR}/IVeskOSCHandlerInst.pc.in
  ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInst.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/IVeskOSCHandlerInst.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
