# qx_limit_exports(<target> <version script>): the library exports exactly
# the names its version script lists; everything else, including template
# code instantiated from the standard library, stays inside. Windows
# libraries export only what is marked for export and drop the "lib" prefix.
function(qx_limit_exports target version_script)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
  else()
    target_link_options(${target} PRIVATE -Wl,--version-script=${version_script})
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${version_script})
  endif()
endfunction()
