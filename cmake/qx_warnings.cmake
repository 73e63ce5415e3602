# Shared compile settings: warnings are errors everywhere, and the sanitizer
# choice applies to every target so that instrumented and plain code never mix.
add_compile_options(-Wall -Wextra -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-Wno-psabi)
  if(CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12 AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # At -O3 (Release) g++ 12 reports overlapping copies inside its own
    # inlined std::string concatenation ("[" + std::to_string(n)), a known
    # false positive of that compiler series.
    add_compile_options(-Wno-restrict)
  endif()
endif()

# Clang checks every lock against the annotations in
# src/platform/thread_safety_annotations.h: guarded members, the locks each
# function needs or must not hold, and the declared lock order (beta).
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  add_compile_options(-Wthread-safety -Wthread-safety-beta)
endif()

if(QX_SANITIZE)
  string(REPLACE ";" "," _qx_san "${QX_SANITIZE}")
  add_compile_options(-fsanitize=${_qx_san} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_qx_san})
endif()

# Exported names are resolved inside their own library first: two device
# modules both export "create", and the hot-plug monitor exports "open".
# Under the fuzzers the sanitizer and coverage runtimes live in the
# executable, so a library cannot resolve them on its own.
function(qx_symbolic_library target)
  if(NOT WIN32)
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic)
    if(NOT QX_BUILD_FUZZERS)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()

# Exports exactly the symbols a linker version script lists (on top of
# hidden visibility, which leaves the C++ runtime's template instantiations
# exported). Windows libraries export only what is marked for export and
# carry their plain names ("quendral_vko_logger.dll").
function(qx_export_only target map_file)
  if(WIN32)
    set_target_properties(${target} PROPERTIES PREFIX "")
  else()
    target_link_options(${target} PRIVATE -Wl,--version-script=${map_file})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map_file})
  endif()
endfunction()
