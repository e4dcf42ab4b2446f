# Checks source/README.md against symbols/libimge-*.txt: every exported
# function has one row, and the file the row names defines it (its name
# followed by "(" or ",", as in a definition or a defining macro).
include(${CMAKE_CURRENT_LIST_DIR}/symbol_lists.cmake)

file(STRINGS ${SOURCE_DIR}/README.md rows REGEX "^\\| `[A-Za-z_0-9]+` \\| `[^`]+` \\|")
set(mapped "")
foreach(row ${rows})
  string(REGEX MATCH "^\\| `([A-Za-z_0-9]+)` \\| `([^`]+)` \\|" _ "${row}")
  set(name ${CMAKE_MATCH_1})
  set(file ${CMAKE_MATCH_2})
  set(path ${SOURCE_DIR}/${file})
  list(APPEND mapped ${name})
  if(NOT EXISTS ${path})
    message(SEND_ERROR "source/README.md: ${name}: no file ${file}")
    continue()
  endif()
  file(READ ${path} text)
  if(NOT text MATCHES "[^A-Za-z_0-9]${name}[(,]")
    message(SEND_ERROR "source/README.md: ${name} is not in ${file}")
  endif()
endforeach()
listed_names("libimge-*.txt" exported)
expect_same_names(mapped exported "source/README.md" "rows for unexported names" "exported names without a row")
