# Names shared by every install rule of the SDK. The Debian package takes all
# components; an archive or a split package can pick them apart.
set(QX_RUNTIME_COMPONENT Runtime)
set(QX_DEVELOPMENT_COMPONENT Development)
set(QX_TOOLS_COMPONENT Tools)
set(QX_DOCUMENTATION_COMPONENT Documentation)

# The ABI major: the libraries' SONAME carries it, and the CMake package
# accepts a request for any release with the same major.
set(QX_ABI_VERSION ${PROJECT_VERSION_MAJOR})

# qx_relative_install_rpath(<target> <install directory>): a run path from
# <install directory> (relative to the prefix) to the installed libraries.
# When the build tree has the same relation between the target's directory
# and the libraries, the target is linked with that run path from the start:
# a run path rewritten at install time would leave an empty entry in the
# build tree's copy, which the loader reads as the working directory.
function(qx_relative_install_rpath target directory)
  file(RELATIVE_PATH _relative "/prefix/${directory}" "/prefix/${CMAKE_INSTALL_LIBDIR}")
  set(_rpath "$ORIGIN")
  if(NOT _relative STREQUAL "")
    string(APPEND _rpath "/${_relative}")
  endif()
  get_target_property(_type ${target} TYPE)
  if(_type STREQUAL "EXECUTABLE")
    get_target_property(_output ${target} RUNTIME_OUTPUT_DIRECTORY)
  else()
    get_target_property(_output ${target} LIBRARY_OUTPUT_DIRECTORY)
  endif()
  file(RELATIVE_PATH _build_relative "${_output}" "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${_rpath}")
  if(_build_relative STREQUAL _relative)
    set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
  endif()
endfunction()
