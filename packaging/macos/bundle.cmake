# fw_macos_bundle(TARGET RESOURCES files...)
#   Makes the program FW_Update_Tool.app, with the settings and the images in Contents/Resources: in the
#   executable's folder they would break the signature. `cmake --install` installs the bundle into the prefix, signed
#   and with Qt inside; `cpack` packs it into a disk image, from which people drag it into Applications.
#
# CMAKE_OSX_DEPLOYMENT_TARGET becomes the oldest macOS that opens the bundle. Set it before project(), and not below
# the oldest macOS that the Qt inside supports.

set(FW_MACOS_DIR ${CMAKE_CURRENT_LIST_DIR})
set(FW_CODESIGN_IDENTITY - CACHE STRING "Identity that signs the macOS bundle; - is an ad-hoc signature")

function(fw_macos_bundle target)
  cmake_parse_arguments(B "" "" "RESOURCES" ${ARGN})
  set(icon ${FW_MACOS_DIR}/FW_Update_Tool.icns)
  target_sources(${target} PRIVATE ${icon} ${B_RESOURCES})
  # The program's target is in another folder, where CMake does not know that the sample images are generated.
  set_property(SOURCE ${B_RESOURCES} TARGET_DIRECTORY ${target} PROPERTY GENERATED ON)
  set_target_properties(${target} PROPERTIES
    MACOSX_BUNDLE ON
    RESOURCE "${icon};${B_RESOURCES}"
    MACOSX_BUNDLE_INFO_PLIST ${FW_MACOS_DIR}/Info.plist.in
    MACOSX_BUNDLE_BUNDLE_NAME ${PROJECT_NAME}
    MACOSX_BUNDLE_GUI_IDENTIFIER com.qxseries.FWUpdateTool
    MACOSX_BUNDLE_ICON_FILE FW_Update_Tool.icns
    MACOSX_BUNDLE_SHORT_VERSION_STRING ${PROJECT_VERSION}
    MACOSX_BUNDLE_BUNDLE_VERSION ${PROJECT_VERSION})

  install(TARGETS ${target} BUNDLE DESTINATION .)
  get_target_property(qmake Qt::qmake IMPORTED_LOCATION)
  get_filename_component(qt_programs ${qmake} DIRECTORY)
  find_program(FW_MACDEPLOYQT macdeployqt HINTS ${qt_programs})
  if(FW_CODESIGN_IDENTITY STREQUAL "-")
    set(sign -codesign=-)
  else()
    # From the inside out, with the hardened runtime and a secure timestamp. An ad-hoc signature cannot have these:
    # the hardened runtime loads only libraries of the same signer, and every ad-hoc signature counts as another one.
    set(sign -sign-for-notarization=${FW_CODESIGN_IDENTITY})
  endif()
  # Adding the libraries changes the program, and arm64 does not start a program with a broken signature.
  # macdeployqt exits with 0 even if it fails, so the signature of the whole bundle is checked.
  install(CODE "
    if(NOT EXISTS \"${FW_MACDEPLOYQT}\")
      message(FATAL_ERROR \"macdeployqt is not beside ${qmake}\")
    endif()
    set(bundle \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/$<TARGET_FILE_NAME:${target}>.app\")
    execute_process(COMMAND \"${FW_MACDEPLOYQT}\" \"\${bundle}\" -always-overwrite \"${sign}\")
    execute_process(COMMAND codesign --verify --deep --strict \"\${bundle}\" RESULT_VARIABLE broken)
    if(broken)
      message(FATAL_ERROR \"\${bundle} has a broken signature: \${broken}\")
    endif()")

  set(CPACK_GENERATOR DragNDrop)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-macOS)
  set(CPACK_DMG_VOLUME_NAME "${PROJECT_NAME} ${PROJECT_VERSION}")
  include(CPack)
endfunction()
