# Shared by the CTest scripts that compare names with the lists in symbols/.

# The names in the files of SYMBOLS_DIR matching `pattern`, sorted, into `out`.
function(listed_names pattern out)
  file(GLOB files ${SYMBOLS_DIR}/${pattern})
  set(all "")
  foreach(f ${files})
    file(STRINGS ${f} names REGEX "^[A-Za-z_]")
    list(APPEND all ${names})
  endforeach()
  list(SORT all)
  set(${out} ${all} PARENT_SCOPE)
endfunction()

# Fails unless the lists `have` and `want` (variable names) hold the same
# names; the message names what is only in each: "<what>: <only_have>: ...;
# <only_want>: ...".
function(expect_same_names have want what only_have only_want)
  set(a ${${have}})
  set(b ${${want}})
  list(REMOVE_DUPLICATES a)
  list(SORT a)
  list(SORT b)
  if(NOT a STREQUAL b)
    set(extra ${a})
    list(REMOVE_ITEM extra ${b})
    set(missing ${b})
    list(REMOVE_ITEM missing ${a})
    message(FATAL_ERROR "${what}: ${only_have}: ${extra}; ${only_want}: ${missing}")
  endif()
endfunction()
