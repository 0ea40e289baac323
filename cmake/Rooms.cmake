# zul_room(NAME [RTTI] [FAST sources...] [SEES rooms...] [USES targets...]) makes one directory of src/ a target of its own. Its
# headers are included by their bare names, and only the rooms it SEES (and what those see) are on its
# include path: an include that goes the wrong way does not build. A release is optimized for size, save for the FAST
# sources, which work at every event: the others run seldom, or wait for the system rather than for the processor. A
# room with RTTI makes objects that a host may look at with dynamic_cast, or uses it itself.
function(zul_room name)
  cmake_parse_arguments(ROOM "RTTI" "" "FAST;SEES;USES" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS *.cpp)
  set(target zul_${name})
  add_library(${target} OBJECT ${sources})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/include ${CMAKE_CURRENT_SOURCE_DIR})
  target_compile_options(${target} PRIVATE -ffunction-sections -fdata-sections  # what nobody calls is left out
    $<$<CONFIG:Release>:-Os>)
  if(NOT ROOM_RTTI)  # names of types, most of them lambdas', are 28 KB
    target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-fno-rtti>)
  endif()
  target_compile_definitions(${target} PRIVATE BOOST_EXCEPTION_DISABLE)  # Boost's exceptions without its own decoration
  if(ZUL_LTO)
    target_compile_options(${target} PRIVATE -flto -ffat-lto-objects)
  endif()
  set_source_files_properties(${ROOM_FAST} PROPERTIES COMPILE_OPTIONS $<$<CONFIG:Release>:-O2>)
  list(TRANSFORM ROOM_SEES PREPEND zul_)
  target_link_libraries(${target} PUBLIC ${ROOM_SEES} ${ROOM_USES} PRIVATE zul_warnings)
  set_property(GLOBAL APPEND PROPERTY ZUL_ROOMS ${target})
endfunction()
