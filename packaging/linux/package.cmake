# fw_linux_package(TARGET RESOURCES files...)
#   `cpack` makes a Debian package: the program and its Resources in a private folder with the layout of a bundle,
#   a link in the PATH, and the files for the desktop and udev. The files next to this one go in unchanged.

set(FW_LINUX_DIR ${CMAKE_CURRENT_LIST_DIR})
set(FW_LINUX_ID com.qxseries.FWUpdateTool) # the desktop's name for the program

# Compresses one text as Debian requires, without a timestamp; adds the result to fw_packed.
function(fw_gzip text result)
  add_custom_command(OUTPUT ${result} DEPENDS ${text} COMMAND gzip -9nc ${text} > ${result} VERBATIM)
  set(fw_packed ${fw_packed} ${CMAKE_CURRENT_BINARY_DIR}/${result} PARENT_SCOPE)
endfunction()

function(fw_linux_package target)
  cmake_parse_arguments(P "" "" "RESOURCES" ${ARGN})
  set(home lib/fw-update-tool)
  set(fw_packed)
  fw_gzip(${FW_LINUX_DIR}/changelog changelog.Debian.gz)
  fw_gzip(${FW_LINUX_DIR}/${target}.1 ${target}.1.gz)
  add_custom_target(package_files ALL DEPENDS ${fw_packed})
  add_dependencies(package_files ${target})
  file(CREATE_LINK ../${home}/bin/${target} ${CMAKE_CURRENT_BINARY_DIR}/${target} SYMBOLIC)

  install(TARGETS ${target} DESTINATION ${home}/bin)
  install(FILES ${P_RESOURCES} DESTINATION ${home}/Resources)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target} DESTINATION bin)
  install(FILES ${FW_LINUX_DIR}/70-fw-update-tool.rules DESTINATION lib/udev/rules.d)
  install(FILES ${FW_LINUX_DIR}/${FW_LINUX_ID}.desktop DESTINATION share/applications)
  install(FILES ${FW_LINUX_DIR}/${FW_LINUX_ID}.metainfo.xml DESTINATION share/metainfo)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${target}.1.gz DESTINATION share/man/man1)
  install(FILES ${FW_LINUX_DIR}/copyright ${FW_LINUX_DIR}/README.Debian
    ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION share/doc/fw-update-tool)
  foreach(size 16 24 32 48 64 128 256)
    install(FILES ${FW_LINUX_DIR}/icons/${size}.png RENAME ${FW_LINUX_ID}.png
      DESTINATION share/icons/hicolor/${size}x${size}/apps)
  endforeach()
  install(FILES ${PROJECT_SOURCE_DIR}/resources/art/icon.svg RENAME ${FW_LINUX_ID}.svg
    DESTINATION share/icons/hicolor/scalable/apps)

  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME fw-update-tool)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "QX Series Support <support@example.com>")
  set(CPACK_DEBIAN_PACKAGE_SECTION utils)
  set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://support.example.com/qx)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qtwayland5) # without it the program does not start on a Wayland-only desktop
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${FW_LINUX_DIR}/postinst)
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "firmware updater for QX Series monitors")
  set(CPACK_PACKAGE_DESCRIPTION "Finds the monitor behind its USB cable, compares the firmware of its USB hub
and of its display scaler with the images in this package, and writes what
is newer.")
  if(NOT FW_SHIPPED_RESOURCES)
    string(APPEND CPACK_PACKAGE_DESCRIPTION
      "\n\nThese images are samples, to try the package with; a monitor must not get them.")
  endif()
  include(CPack)
endfunction()
