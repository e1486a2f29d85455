# One GoogleTest executable per folder, each test its own CTest entry.
#   zr_add_test_suite(<name> SOURCES ... LIBS ... [GUI])
# GUI suites get a QApplication (offscreen platform), the others a QCoreApplication.
function(zr_add_test_suite name)
  cmake_parse_arguments(ARG "GUI" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  if(ARG_GUI)
    target_link_libraries(${name} PRIVATE zr_testmain_gui)
  else()
    target_link_libraries(${name} PRIVATE zr_testmain_core)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} zr_warnings GTest::gtest GTest::gmock)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  gtest_discover_tests(${name}
    DISCOVERY_MODE PRE_TEST
    NO_PRETTY_VALUES
    DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${ARG_TIMEOUT}
               ENVIRONMENT "QT_QPA_PLATFORM=offscreen;ZR_TEST_DATA_DIR=${PROJECT_SOURCE_DIR}/tests/data;ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1")
endfunction()
