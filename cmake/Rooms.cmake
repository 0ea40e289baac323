# zul_room(NAME [SMALL] [SEES rooms...] [USES targets...]) makes one directory of src/ a target of its own. Its
# headers are included by their bare names, and only the rooms it SEES (and what those see) are on its
# include path: an include that goes the wrong way does not build. A SMALL room waits for the system rather than
# for the processor, so its release build is optimized for size.
function(zul_room name)
  cmake_parse_arguments(ROOM "SMALL" "" "SEES;USES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  set(target zul_${name})
  add_library(${target} OBJECT ${sources})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections)  # what nobody calls is left out
  if(ROOM_SMALL)
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-Os>)
  endif()
  list(TRANSFORM ROOM_SEES PREPEND zul_)
  target_link_libraries(${target} PUBLIC ${ROOM_SEES} ${ROOM_USES} PRIVATE zul_warnings)
  set_property(GLOBAL APPEND PROPERTY ZUL_ROOMS ${target})
endfunction()
