# What every room of the house is built with.

add_library(tessaly_flags INTERFACE)
target_compile_options(tessaly_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wno-sign-conversion -Werror
  -Wno-restrict)  # GCC 12 sees overlaps in its own std::string (PR 105651)
target_compile_definitions(tessaly_flags INTERFACE TESSALY_VERSION="${PROJECT_VERSION}")
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(tessaly_flags INTERFACE $<IF:$<BOOL:${TESSALY_SANITIZE}>,-O1,-O0>)
endif()
if(TESSALY_SANITIZE)
  target_compile_options(tessaly_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                                 -fno-omit-frame-pointer -g1)
  target_link_options(tessaly_flags INTERFACE -fsanitize=address,undefined)
endif()
if(TESSALY_FUZZ)
  target_compile_options(tessaly_flags INTERFACE -fsanitize-coverage=trace-pc)  # counted by tests/fuzz/afl_main.cpp
endif()

# Literals stand in these sources as UTF-8 and in memory as code page 932.
add_library(tessaly_cp932 INTERFACE)
target_compile_options(tessaly_cp932 INTERFACE -fexec-charset=CP932)

# Each room has an include folder of its own, in which it stands under its name (engine/mails), and its public headers under
# tessaly/. A target sees the rooms that it names and no others, so an include that follows no declared arrow does not compile.
function(tessaly_include_folder room name folder)
  set(link ${PROJECT_BINARY_DIR}/rooms/${room}/${name})
  get_filename_component(parent ${link} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  file(CREATE_LINK ${folder} ${link} SYMBOLIC)
  set(public_headers ${PROJECT_SOURCE_DIR}/include/tessaly/${name})
  if(EXISTS ${public_headers})
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/rooms/${room}/tessaly)
    file(CREATE_LINK ${public_headers} ${PROJECT_BINARY_DIR}/rooms/${room}/tessaly/${name} SYMBOLIC)
  endif()
endfunction()

# tessaly_room(NAME DEPENDS room...): the objects of a folder of src/. DEPENDS names the rooms whose headers it includes. They
# are declared before it, so that no circle of rooms can be written down.
function(tessaly_room name)
  cmake_parse_arguments(ROOM "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  tessaly_include_folder(${name} ${name} ${CMAKE_CURRENT_SOURCE_DIR})
  add_library(tessaly_${name} OBJECT ${sources})
  target_link_libraries(tessaly_${name} PRIVATE tessaly_flags tessaly_cp932)
  foreach(room ${name} platform ${ROOM_DEPENDS})
    if(NOT TARGET tessaly_${room})
      message(FATAL_ERROR "The room ${name} depends on ${room}, which is not declared before it.")
    endif()
    target_include_directories(tessaly_${name} PRIVATE ${PROJECT_BINARY_DIR}/rooms/${room})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY TESSALY_ROOMS tessaly_${name})
endfunction()
