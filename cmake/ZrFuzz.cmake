# A fuzz target is one LLVMFuzzerTestOneInput. With ZR_FUZZ (clang) it links libFuzzer;
# otherwise it links a replay main and CTest runs it over its seed corpus, so a plain g++
# build checks every seed too.
#   zr_add_fuzz_target(<name> SOURCES ... LIBS ... CORPUS <dir>)
function(zr_add_fuzz_target name)
  cmake_parse_arguments(ARG "" "CORPUS" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} zr_warnings)
  if(ZR_FUZZ)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/fuzz/FuzzReplayMain.cpp)
    if(ZR_BUILD_TESTS AND ARG_CORPUS)
      add_test(NAME ${name}.corpus COMMAND ${name} ${ARG_CORPUS})
      set_tests_properties(${name}.corpus PROPERTIES TIMEOUT 300
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ASAN_OPTIONS=allocator_may_return_null=1")
    endif()
  endif()
endfunction()
