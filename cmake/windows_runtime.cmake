# Windows builds made with mingw-w64: the compiler's runtime DLLs are copied
# beside the built DLLs, so that the libraries, the tool and the tests load
# from one directory; a cross build runs its programs under wine64.

# libstdc++-6.dll, libgcc_s_seh-1.dll and libwinpthread-1.dll, as the
# compiler itself locates them.
set(QX_MINGW_RUNTIME_DLLS)
foreach(_dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${_dll}
    OUTPUT_VARIABLE _path OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT IS_ABSOLUTE "${_path}" OR NOT EXISTS "${_path}")
    # libwinpthread lives in the sysroot, not in the compiler's directory.
    find_file(_path_${_dll} ${_dll} PATHS ${CMAKE_FIND_ROOT_PATH}/lib ${CMAKE_FIND_ROOT_PATH}/bin
              NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    set(_path "${_path_${_dll}}")
  endif()
  if(_path AND EXISTS "${_path}")
    list(APPEND QX_MINGW_RUNTIME_DLLS "${_path}")
  endif()
endforeach()
if(QX_MINGW_RUNTIME_DLLS)
  file(COPY ${QX_MINGW_RUNTIME_DLLS} DESTINATION ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()

# Cross-built programs (test discovery, ctest) run through wine64 with a
# prefix of the build's own.
if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_SOURCE_DIR}/cmake/run_under_wine.sh ${CMAKE_BINARY_DIR})
endif()
