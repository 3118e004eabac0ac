# What all our targets share: language level, warnings, the include root, 64-bit files and time.

# What makes it hard to turn a fault in our code into an attack. A package's build gives a part of it, of which none is lost.
option(LUMOADMIN_HARDENING "Harden what is built" ON)
include(CheckCXXCompilerFlag)
set(LUMOADMIN_HARDENING_FLAGS -fstack-protector-strong)
foreach(flag -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard) # the last two by processor
  string(MAKE_C_IDENTIFIER "LUMOADMIN_HAS${flag}" known)
  check_cxx_compiler_flag("-Werror ${flag}" ${known})
  if(${known})
    list(APPEND LUMOADMIN_HARDENING_FLAGS ${flag})
  endif()
endforeach()
set(optimized "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>") # without which there is nothing to fortify; others say it themselves

function(lumoadmin_harden target)
  target_compile_options(${target} PRIVATE ${LUMOADMIN_HARDENING_FLAGS}
    "$<${optimized}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_compile_definitions(${target} PRIVATE _GLIBCXX_ASSERTIONS)
  target_link_options(${target} PRIVATE LINKER:-z,relro,-z,now)
endfunction()

function(lumoadmin_configure target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_include_directories(${target} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  if(LUMOADMIN_HARDENING)
    lumoadmin_harden(${target})
  endif()
  # armhf has 32-bit off_t and time_t unless asked; the log engine's public records hold a time_t, so users must agree.
  target_compile_definitions(${target} PUBLIC _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endfunction()

# lumoadmin_library(<target> <source>...): a static library of one folder.
function(lumoadmin_library target)
  add_library(${target} STATIC ${ARGN})
  lumoadmin_configure(${target})
endfunction()

# Tests are compiled with precompiled headers, unless a compiler cache is at work, which cannot cache such objects, or the
# toolkit's users have another size of time than the rest.
set(LUMOADMIN_TEST_PCH_DEFAULT ON)
if(CMAKE_CXX_COMPILER_LAUNCHER OR NOT LUMOADMIN_SYSTEM_TIME_64)
  set(LUMOADMIN_TEST_PCH_DEFAULT OFF)
endif()
option(LUMOADMIN_TEST_PCH "Compile the tests with precompiled headers" ${LUMOADMIN_TEST_PCH_DEFAULT})

# lumoadmin_test_code(<target>): for code that runs once and is compiled often, most of the time of a whole build. The options are
# the same for all of it, as precompiled headers want it.
function(lumoadmin_test_code target)
  lumoadmin_configure(${target})
  target_link_libraries(${target} PRIVATE GTest::gmock GTest::gtest)
  target_compile_options(${target} PRIVATE -O0 -U_FORTIFY_SOURCE -pthread) # nothing is fortified at -O0
  # The compiler collects its garbage less often where there is room for it.
  cmake_host_system_information(RESULT memory QUERY TOTAL_PHYSICAL_MEMORY)
  cmake_host_system_information(RESULT processors QUERY NUMBER_OF_LOGICAL_CORES)
  math(EXPR room "${memory} / ${processors}")
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND room GREATER 1500)
    target_compile_options(${target} PRIVATE "SHELL:--param ggc-min-heapsize=500000")
  endif()
  if(LUMOADMIN_TEST_PCH AND NOT target STREQUAL test_common)
    target_precompile_headers(${target} REUSE_FROM test_common)
    target_link_libraries(${target} PRIVATE test_common)
  endif()
endfunction()

# lumoadmin_tests(<target> LABEL <unit|gui|system|...> [LABELS <threads|leaks>...] [DESKTOP] [SCREEN WxH] [PCSCD] [TIMEOUT s]
#                 SOURCES ... LINK ...)
# A GoogleTest program. Each of its tests runs in a process and a private machine of its own (see scripts/sandbox);
# DESKTOP adds a virtual display, of the size SCREEN if given, PCSCD a private PC/SC daemon with simulated readers.
# LABELS are further ones, by which scripts/watched-tests chooses; each is also a target that builds its programs.
function(lumoadmin_tests target)
  cmake_parse_arguments(arg "DESKTOP;PCSCD" "LABEL;TIMEOUT;SCREEN" "LABELS;SOURCES;LINK" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  # An emulator takes twenty times as long where most is the processor's work, and so does a tool that watches.
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    math(EXPR arg_TIMEOUT "5 * ${arg_TIMEOUT}")
  endif()
  add_executable(${target} ${arg_SOURCES})
  lumoadmin_test_code(${target})
  target_link_libraries(${target} PRIVATE ${arg_LINK})
  foreach(label IN LISTS arg_LABELS)
    if(NOT TARGET ${label})
      add_custom_target(${label})
    endif()
    add_dependencies(${label} ${target})
  endforeach()
  set(launcher "${PROJECT_SOURCE_DIR}/scripts/sandbox")
  if(arg_PCSCD)
    list(APPEND launcher "${PROJECT_SOURCE_DIR}/scripts/with-pcscd")
  endif()
  if(arg_SCREEN)
    list(APPEND launcher env "LUMOADMIN_SCREEN=${arg_SCREEN}")
  endif()
  if(arg_DESKTOP)
    list(APPEND launcher "${PROJECT_SOURCE_DIR}/scripts/with-desktop")
  endif()
  # A board's emulator, or a tool that watches the test: inside the private machine, which is not emulated itself.
  list(APPEND launcher ${CMAKE_CROSSCOMPILING_EMULATOR})
  set_target_properties(${target} PROPERTIES CROSSCOMPILING_EMULATOR "${launcher}")
  # Under a slow tool the start of a process takes longer than most tests: there each program runs all of its tests in one.
  if(LUMOADMIN_WHOLE_TEST_PROGRAMS)
    add_test(NAME ${arg_LABEL}.${target} COMMAND ${target})
    set_tests_properties(${arg_LABEL}.${target} PROPERTIES LABELS "${arg_LABEL};${arg_LABELS}" TIMEOUT 600)
    return()
  endif()
  # What the whole program writes is held against the schema of its file; units are free to write anything.
  set(environment)
  if(arg_LABEL MATCHES "^(gui|system)$")
    set(environment ENVIRONMENT LUMOADMIN_VALIDATE=1)
  endif()
  gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    TEST_PREFIX "${arg_LABEL}." PROPERTIES LABELS "${arg_LABEL}" TIMEOUT ${arg_TIMEOUT} ${environment})
endfunction()
