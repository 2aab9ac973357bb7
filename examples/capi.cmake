# The C example: plain C11 against the C interface, run by ctest when tests are built.
if(TARGET zefa)
  add_executable(zefa_capi_example ${CMAKE_CURRENT_LIST_DIR}/capi_example.c)
  set_target_properties(zefa_capi_example PROPERTIES
    C_STANDARD 11 C_STANDARD_REQUIRED ON C_EXTENSIONS OFF)
  target_link_libraries(zefa_capi_example PRIVATE zefa)
  if(ZEFA_BUILD_TESTS)
    enable_testing()
    add_test(NAME zefa_capi_example COMMAND zefa_capi_example)
  endif()
endif()
