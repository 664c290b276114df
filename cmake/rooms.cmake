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

# tessaly_room(NAME DEPENDS room... WITHOUT folder...): one directory of src/ as a library of its own. DEPENDS names the
# rooms whose headers it includes; storage and environment use each other, and so do mailstore and delivery, file by file
# in one direction. WITHOUT names folders below it that are rooms of their own.
function(tessaly_room name)
  cmake_parse_arguments(ROOM "" "" "DEPENDS;WITHOUT" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  foreach(folder ${ROOM_WITHOUT})
    list(FILTER sources EXCLUDE REGEX "^${CMAKE_CURRENT_SOURCE_DIR}/${folder}/")
  endforeach()
  if(NOT sources)
    add_library(tessaly_${name} INTERFACE)
    return()
  endif()
  add_library(tessaly_${name} STATIC ${sources})
  target_include_directories(tessaly_${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(tessaly_${name} PRIVATE tessaly_flags tessaly_cp932 PUBLIC tessaly_platform)
  foreach(room ${ROOM_DEPENDS})
    target_link_libraries(tessaly_${name} PUBLIC tessaly_${room})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY TESSALY_ROOMS tessaly_${name})
endfunction()
