# Compares the dynamic symbols that libimge.so and libimg.so define with the
# lists in symbols/: libimg-*.txt for the base library, libimge-*.txt (one file
# per family) for libimge.
include(${CMAKE_CURRENT_LIST_DIR}/symbol_lists.cmake)

function(check lib pattern)
  execute_process(COMMAND nm -D --defined-only ${lib} OUTPUT_VARIABLE out RESULT_VARIABLE rc)
  if(rc)
    message(FATAL_ERROR "nm failed on ${lib}")
  endif()
  string(REGEX MATCHALL "[^\n]+" lines "${out}")
  set(actual "")
  foreach(l ${lines})
    if(l MATCHES "^[0-9a-fA-F]+ [TDBRVW] ([^ @]+)")
      list(APPEND actual ${CMAKE_MATCH_1})
    endif()
  endforeach()
  listed_names(${pattern} expected)
  expect_same_names(actual expected ${lib} "exported but not listed" "listed but not exported")
endfunction()
check(${LIBIMG} "libimg-*.txt")
check(${LIBIMGE} "libimge-*.txt")
