# Installs BUILD_DIR into a new prefix and uses it as another project would: through find_package and
# through pkg-config. Also checks that the library exports one function.
set(ENV{DESTDIR} "")
set(scratch "${WORK_DIR}")
set(consumer "${CMAKE_CURRENT_LIST_DIR}/consumer")

# Runs a command; anything but success ends the test with what the command printed.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                  ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

function(check_program program)
  run("${program}")
  file(READ "${consumer}/expected.txt" expected)
  if(NOT output STREQUAL expected)
    message(FATAL_ERROR "${program} printed\n${output}instead of\n${expected}")
  endif()
endfunction()

file(REMOVE_RECURSE "${scratch}")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${scratch}/first")
# Nothing may depend on where the prefix was.
file(RENAME "${scratch}/first" "${scratch}/prefix")

run(${CMAKE_COMMAND} -S "${consumer}" -B "${scratch}/build" -G "${GENERATOR}"
    "-DCMAKE_PREFIX_PATH=${scratch}/prefix" "-DCMAKE_CXX_COMPILER=${COMPILER}"
    "-DCMAKE_CXX_FLAGS=${COMPILER_FLAGS}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}")
run(${CMAKE_COMMAND} --build "${scratch}/build")
check_program("${scratch}/build/consumer")

set(ENV{PKG_CONFIG_PATH} "${scratch}/prefix/${LIBRARY_DIR}/pkgconfig")
run(pkg-config --cflags --libs physical_to_exec)
separate_arguments(package_flags UNIX_COMMAND "${output}")
separate_arguments(compiler_flags UNIX_COMMAND "${COMPILER_FLAGS}")
run("${COMPILER}" ${compiler_flags} "${consumer}/consumer.cpp" -o "${scratch}/consumer"
    ${package_flags})
set(ENV{LD_LIBRARY_PATH} "${scratch}/prefix/${LIBRARY_DIR}")
check_program("${scratch}/consumer")

run(nm -D --defined-only -C "${scratch}/prefix/${LIBRARY_DIR}/libphysical_to_exec.so")
string(REGEX MATCHALL "[^\n]+" symbols "${output}")
list(LENGTH symbols symbol_count)
if(NOT symbol_count EQUAL 1 OR NOT output MATCHES " T physical_to_exec::Plan\\(")
  message(FATAL_ERROR "the library exports\n${output}instead of physical_to_exec::Plan alone")
endif()
