# Tests that are written in bash. Each function of a file whose name is a sentence is a test of its own; its label is the
# folder's name.

# package_tests(<file> [TIMEOUT seconds] [ENVIRONMENT name=value...])
function(package_tests file)
  cmake_parse_arguments(arg "" "TIMEOUT" "ENVIRONMENT" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  file(STRINGS ${file} functions REGEX "^[A-Z][A-Za-z0-9]*\\(\\) {$")
  string(REGEX REPLACE "Test$" "" group ${file})
  get_filename_component(label "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
  foreach(function IN LISTS functions)
    string(REGEX REPLACE "\\(.*" "" name "${function}")
    set(test "${label}.${group}.${name}")
    add_test(NAME ${test}
      COMMAND "${PROJECT_SOURCE_DIR}/scripts/sandbox" "${CMAKE_CURRENT_SOURCE_DIR}/${file}" ${name})
    set_tests_properties(${test} PROPERTIES LABELS ${label} TIMEOUT ${arg_TIMEOUT} SKIP_RETURN_CODE 77
      ENVIRONMENT "LUMOADMIN_BUILD=${PROJECT_BINARY_DIR};${arg_ENVIRONMENT}")
  endforeach()
endfunction()
