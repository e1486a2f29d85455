# Warnings and sanitizer flags shared by every target of the project.
add_library(zr_warnings INTERFACE)
target_compile_options(zr_warnings INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
                                             -Wno-psabi)
if(ZR_WERROR)
  target_compile_options(zr_warnings INTERFACE -Werror)
endif()

if(ZR_SANITIZE)
  # float-cast-overflow is not part of "undefined": a float too large for its integer is UB too.
  add_compile_options(-fsanitize=address,undefined,float-cast-overflow -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined,float-cast-overflow)
  # GCC's flow analysis under the sanitizers reports false "may be used uninitialized"
  # warnings inside the standard library (std::function, <regex>).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(-fsanitize=address,undefined,float-cast-overflow)
endif()

if(ZR_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "ZR_FUZZ needs clang: configure with CXX=clang++-14 CC=clang-14")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# A library of the project: static, includes relative to the source root.
function(zr_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  # Position-independent, as the Python module (a shared object) links the libraries in.
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE ${ARG_PRIVATE_LIBS} zr_warnings)
endfunction()
