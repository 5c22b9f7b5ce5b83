# Warnings, sanitizers and symbol export shared by every target of the project.

function(osc_target_defaults target)
  if(CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
    target_compile_options(${target} PRIVATE -Wall -Wextra)
    if(OSC_WARNINGS_AS_ERRORS)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()

if(OSC_SANITIZE)
  add_compile_options(-fsanitize=${OSC_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${OSC_SANITIZE})
endif()

# Exports exactly the symbols named in LIST_FILE (one per line) from a shared
# library: a version script on ELF platforms, an exported-symbols list on macOS.
function(osc_export_only target list_file)
  file(STRINGS ${list_file} symbols REGEX "^[A-Za-z_]")
  if(APPLE)
    set(out ${CMAKE_CURRENT_BINARY_DIR}/${target}.exported)
    list(TRANSFORM symbols PREPEND "_")
    list(JOIN symbols "\n" body)
    file(WRITE ${out} "${body}\n")
    target_link_options(${target} PRIVATE "LINKER:-exported_symbols_list,${out}")
  else()
    set(out ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
    list(JOIN symbols ";\n    " body)
    file(WRITE ${out} "{\n  global:\n    ${body};\n  local: *;\n};\n")
    target_link_options(${target} PRIVATE "LINKER:--version-script=${out}")
  endif()
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${list_file})
endfunction()

# Test code gains nothing from optimisation but compiles twice as fast without
# it; the code under test keeps the build type's flags.
function(osc_test_defaults target)
  osc_target_defaults(${target})
  target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-O0>)
endfunction()
