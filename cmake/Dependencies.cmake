# The libraries that the program is made of, found once, as targets.
find_package(Boost 1.74 REQUIRED)
find_package(EXPAT REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(PCSC REQUIRED IMPORTED_TARGET libpcsclite)
# The PC/SC headers without the library: who links code that calls it chooses between the real one and a stand-in.
add_library(vantor_pcsc_headers INTERFACE)
target_include_directories(vantor_pcsc_headers SYSTEM INTERFACE ${PCSC_INCLUDE_DIRS})

# The toolkit's inline code has times in its records, so these must have the size that the system's libraries were built with,
# also in all that links such code: on armhf 32 bits (the toolkit's first message would end the program), where the compiler does
# not say otherwise by itself.
include(CheckCXXSourceCompiles)
check_cxx_source_compiles("#include <ctime>\nstatic_assert(sizeof(std::time_t) == 8);\nint main() {}" LUMOADMIN_SYSTEM_TIME_64)

# lumoadmin_toolkit(<target> <component>...): some of the toolkit's libraries as a target; CMake 3.27 would have one.
function(lumoadmin_toolkit target)
  find_package(wxWidgets 3.2 REQUIRED COMPONENTS ${ARGN})
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
  target_compile_definitions(${target} INTERFACE ${wxWidgets_DEFINITIONS})
  target_compile_options(${target} INTERFACE ${wxWidgets_CXX_FLAGS} $<$<NOT:$<BOOL:${LUMOADMIN_SYSTEM_TIME_64}>>:-U_TIME_BITS>)
  target_link_libraries(${target} INTERFACE ${wxWidgets_LIBRARIES})
endfunction()
lumoadmin_toolkit(toolkit_base base)
lumoadmin_toolkit(toolkit_core core base)
