# A layer is a folder of the framework or a room of the Master: a static library that links what it may know and
# nothing else. Its headers are included as "FOLDER/Header.h", which is found only by what links the layer. That each
# one links alone is a test (tests/layers). PRECOMPILED is the kind of precompiled headers, `base` unless given.
function(add_layer name)
  cmake_parse_arguments(LAYER "" "PRECOMPILED" "SOURCES;LINKS" ${ARGN})
  get_filename_component(folder ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  set(include ${PROJECT_BINARY_DIR}/layers/${name})
  file(MAKE_DIRECTORY ${include})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include}/${folder} SYMBOLIC)
  add_library(${name} STATIC ${LAYER_SOURCES})
  target_include_directories(${name} PUBLIC ${include})
  target_link_libraries(${name} PUBLIC ${LAYER_LINKS})
  if(NOT LAYER_PRECOMPILED)
    set(LAYER_PRECOMPILED base)
  endif()
  use_precompiled(${name} ${LAYER_PRECOMPILED})
  set_property(GLOBAL APPEND PROPERTY BRENIC_LAYERS ${name})
endfunction()
