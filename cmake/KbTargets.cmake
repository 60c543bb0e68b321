# What every target shares: warnings, sanitizers, visibility; and the one way a library is made from its rooms.

add_library(kb_options INTERFACE)
target_compile_options(kb_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion
  -ffp-contract=off -fno-math-errno -fvisibility=hidden
  $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)
# Strings that are put together in optimised code make this compiler see copies of impossible lengths.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(kb_options INTERFACE -Wno-restrict -Wno-stringop-overread)
endif()
if(KB_SANITIZE)
  set(flags -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(kb_options INTERFACE ${flags})
  target_link_options(kb_options INTERFACE ${flags})
endif()
if(KB_THREAD_SANITIZE)
  target_compile_options(kb_options INTERFACE -fsanitize=thread)
  target_link_options(kb_options INTERFACE -fsanitize=thread)
endif()
if(KB_FUZZ)
  set(flags -fsanitize=fuzzer-no-link,address,undefined,float-cast-overflow -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  target_compile_options(kb_options INTERFACE ${flags})
  target_link_options(kb_options INTERFACE -fsanitize=address,undefined)
endif()
if(KB_COVERAGE)
  target_compile_options(kb_options INTERFACE --coverage)
  target_link_options(kb_options INTERFACE --coverage)
endif()

# kb_library(name rooms [OBJECTS] [EXTRA files] LINK args...): a shared library of all sources below the rooms. Only C names
# that are marked leave it: the version script keeps the C++ library's own templates in. With OBJECTS the sources are
# compiled into the object library name_objects, which tests of the inside link as it is.
function(kb_library name rooms)
  cmake_parse_arguments(arg "OBJECTS" "" "LINK;EXTRA" ${ARGN})
  set(sources ${arg_EXTRA})
  foreach(room IN LISTS rooms)
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${room}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  set(compiled ${name})
  if(arg_OBJECTS)
    set(compiled ${name}_objects)
    add_library(${compiled} OBJECT ${sources})
    add_library(${name} SHARED $<TARGET_OBJECTS:${compiled}>)
    target_link_libraries(${name} ${arg_LINK})
  else()
    add_library(${name} SHARED ${sources})
  endif()
  target_link_libraries(${compiled} ${arg_LINK} PRIVATE $<BUILD_INTERFACE:kb_options>)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:kb_options>)
  foreach(target IN ITEMS ${name} ${compiled})
    target_include_directories(${target} PUBLIC
      $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}> $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include>
      $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kbann-1>)
  endforeach()
  target_link_options(${name} PRIVATE -Wl,--version-script=${CMAKE_SOURCE_DIR}/cmake/exports.map)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 1)
endfunction()
