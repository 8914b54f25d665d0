# fw_layer(NAME PATH SOURCES... USES layers... PRIVATE_USES layers...)
#
# A layer is a static library. Only targets that link it can include its headers, as "PATH/header.h": each layer
# has a private include root in the build tree, which contains one link to the layer's folder.
# USES are the layers that its headers need, PRIVATE_USES those that only its sources need.
# A layer without sources is a folder of headers or a single header.

get_filename_component(FW_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/.. ABSOLUTE)

include(${CMAKE_CURRENT_LIST_DIR}/hardening.cmake)
add_library(fw_options INTERFACE)
target_link_libraries(fw_options INTERFACE fw_hardening)
target_compile_options(fw_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor
  -Woverloaded-virtual $<$<BOOL:${FW_WERROR}>:-Werror>)
if(FW_SANITIZE)
  target_compile_options(fw_options INTERFACE -fsanitize=${FW_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>) # g++ takes instrumented library code for uninitialized
  target_link_options(fw_options INTERFACE -fsanitize=${FW_SANITIZE})
endif()

# Makes a private include root for `path` (a folder or one header) in the build tree.
function(fw_include_root path out)
  string(REPLACE "/" "_" flat ${path})
  set(root ${CMAKE_BINARY_DIR}/include/${flat})
  get_filename_component(parent ${root}/${path} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  if(NOT EXISTS ${root}/${path})
    file(CREATE_LINK ${FW_SOURCE_DIR}/${path} ${root}/${path} SYMBOLIC)
  endif()
  set(${out} ${root} PARENT_SCOPE)
endfunction()

function(fw_layer name path)
  cmake_parse_arguments(L "" "" "SOURCES;USES;PRIVATE_USES" ${ARGN})
  fw_include_root(${path} root)
  if(L_SOURCES)
    add_library(${name} STATIC ${L_SOURCES})
    target_include_directories(${name} PUBLIC ${root})
    target_link_libraries(${name} PUBLIC ${L_USES} PRIVATE fw_options ${L_PRIVATE_USES})
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${root})
    target_link_libraries(${name} INTERFACE ${L_USES})
  endif()
endfunction()

# Chooses the platform that a program's hub library runs on. Every program that links a layer of hub/ must call
# this; one that does not fails to build with a message that says so.
function(fw_platform program platform)
  set_target_properties(${program} PROPERTIES FW_PLATFORM ${platform})
endfunction()

# Chooses how a program keeps the computer awake. Without this call it lets the computer sleep.
function(fw_awake program awake)
  set_target_properties(${program} PROPERTIES FW_AWAKE ${awake})
endfunction()
