# The library's layers as CMake targets that state their dependencies. Each layer's headers are
# staged (as links) in a directory of its own under build/layers/, and a target's include path
# holds only the stages of itself and of the layers it depends on. An #include that reaches
# across the layers (the library into platform/linux, the seam into the library) is then "file
# not found": the build enforces the layering, not a review.
#
#   foundation  ZefaJson, fatal stop, UTF-8, value descriptions, calendar texts
#   seam        platform/*.h: the abstract services and ZefaPlatform; the  -> foundation
#               log, whose lines read the platform's clock
#   library     everything else in ZefaBase/                              -> seam
#   platform    platform/<name>/: one per platform (linux, windows, stub) -> seam
#   C API       ZefaBase/capi/ (libzefa), on the library                 -> library
#   tools       tools/ (Linux), on the library and the Linux platform

# Links `headers` (absolute paths under the source tree) into build/layers/<stage>/, keeping
# their path below the source tree, and sets <stage>_STAGE to that directory.
function(zefa_stage_headers stage)
  set(dir ${PROJECT_BINARY_DIR}/layers/${stage})
  file(REMOVE_RECURSE ${dir})  # a header removed from the layer leaves no stale link behind
  foreach(header IN LISTS ARGN)
    file(RELATIVE_PATH relative ${PROJECT_SOURCE_DIR} ${header})
    get_filename_component(parent ${dir}/${relative} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${header} ${dir}/${relative} SYMBOLIC)
  endforeach()
  set(${stage}_STAGE ${dir} PARENT_SCOPE)
endfunction()

# zefa_layer(<target> HEADERS <files> SOURCES <files> [DEPENDS <layers>] [LIBRARIES <libs>])
# An object library: its objects go into libzefabase (and the stub build's library). LIBRARIES
# are what its own sources need to compile (usage requirements).
function(zefa_layer name)
  cmake_parse_arguments(LAYER "" "" "HEADERS;SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  zefa_stage_headers(${name} ${LAYER_HEADERS})
  add_library(${name} OBJECT ${LAYER_SOURCES})
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${${name}_STAGE}>)
  target_link_libraries(${name} PUBLIC ${LAYER_DEPENDS} ${LAYER_LIBRARIES})
  set_target_properties(${name} PROPERTIES CXX_VISIBILITY_PRESET hidden)
  if(BUILD_SHARED_LIBS)
    target_compile_definitions(${name} PRIVATE ZEFA_BUILDING_LIBRARY)
  else()
    target_compile_definitions(${name} PUBLIC ZEFA_STATIC)
  endif()
  set_property(GLOBAL APPEND PROPERTY ZEFA_LAYER_HEADERS ${LAYER_HEADERS})
endfunction()

# The stages of `layers`, for a target that is built on them without being one (libzefabase).
function(zefa_layer_stages out)
  set(dirs)
  foreach(layer IN LISTS ARGN)
    list(APPEND dirs ${PROJECT_BINARY_DIR}/layers/${layer})
  endforeach()
  set(${out} ${dirs} PARENT_SCOPE)
endfunction()
