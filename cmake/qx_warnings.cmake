# Shared compile settings: warnings are errors everywhere, and the sanitizer
# choice applies to every target so that instrumented and plain code never mix.
add_compile_options(-Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-psabi)
endif()

if(QX_SANITIZE)
  string(REPLACE ";" "," _qx_san "${QX_SANITIZE}")
  add_compile_options(-fsanitize=${_qx_san} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_qx_san})
endif()

# Exported names are resolved inside their own library first: two device
# modules both export "create", and the hot-plug monitor exports "open".
function(qx_symbolic_library target)
  if(NOT WIN32)
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic -Wl,--no-undefined)
  endif()
endfunction()
