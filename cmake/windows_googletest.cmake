# GoogleTest for the Windows build, compiled from source with the same
# toolchain as the code under test (Debian ships its sources in
# /usr/src/googletest; elsewhere point QX_GOOGLETEST_SOURCE_DIR at a copy).
set(QX_GOOGLETEST_SOURCE_DIR /usr/src/googletest CACHE PATH "GoogleTest sources for the Windows build")
if(NOT EXISTS ${QX_GOOGLETEST_SOURCE_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "GoogleTest sources not found in ${QX_GOOGLETEST_SOURCE_DIR}")
endif()
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
add_subdirectory(${QX_GOOGLETEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
# Third-party code: our warning settings are not its own.
foreach(_target gtest gtest_main)
  set_property(TARGET ${_target} PROPERTY COMPILE_OPTIONS -w)
  set_property(TARGET ${_target} PROPERTY CXX_VISIBILITY_PRESET default)
endforeach()
if(NOT TARGET GTest::gtest)
  add_library(GTest::gtest ALIAS gtest)
  add_library(GTest::gtest_main ALIAS gtest_main)
endif()
