# `cmake --install` gives host developers the plug-in module, the host interface headers and a
# CMake package that finds both.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(GAMEPAD_PLUGIN_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/zelto/plugins"
    CACHE STRING "Folder under the install prefix that receives the plug-in module")
set(GAMEPAD_INCLUDE_INSTALL_DIR "${CMAKE_INSTALL_INCLUDEDIR}/zelto")
set(GAMEPAD_PACKAGE_INSTALL_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/ZeltoGamepad")

include(${CMAKE_CURRENT_LIST_DIR}/GamepadRunPath.cmake)
gamepad_keep_link_run_path(gamepadplugin)
install(TARGETS gamepadplugin EXPORT ZeltoGamepadTargets
        LIBRARY DESTINATION ${GAMEPAD_PLUGIN_INSTALL_DIR})
set_target_properties(gamepadplugin PROPERTIES EXPORT_NAME Plugin)

install(FILES ${GAMEPAD_HOST_INTERFACE_HEADERS} DESTINATION ${GAMEPAD_INCLUDE_INSTALL_DIR})
install(TARGETS hostinterfaces_headers EXPORT ZeltoGamepadTargets)

install(EXPORT ZeltoGamepadTargets NAMESPACE ZeltoGamepad::
        DESTINATION ${GAMEPAD_PACKAGE_INSTALL_DIR})
configure_package_config_file(cmake/ZeltoGamepadConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/ZeltoGamepadConfig.cmake
  INSTALL_DESTINATION ${GAMEPAD_PACKAGE_INSTALL_DIR}
  PATH_VARS GAMEPAD_PLUGIN_INSTALL_DIR GAMEPAD_INCLUDE_INSTALL_DIR)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/ZeltoGamepadConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ZeltoGamepadConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/ZeltoGamepadConfigVersion.cmake
        DESTINATION ${GAMEPAD_PACKAGE_INSTALL_DIR})
