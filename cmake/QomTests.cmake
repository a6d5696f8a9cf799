# Tests that need an X server, and the tcltest files. Every test has a server of its own.

# Where qomtcl puts the package as it is in the build tree: pkgIndex.tcl and what it loads.
set(QOM_TCL_PACKAGE_DIR ${CMAKE_BINARY_DIR}/qomtcl)

set(QOM_X_SERVER ${CMAKE_SOURCE_DIR}/scripts/with-xserver)
set(QOM_TCL_RUNNER ${CMAKE_SOURCE_DIR}/qomtcl/tests/all.tcl)
set(QOM_TEST_TIMEOUT 300) # seconds, of one test

find_program(QOM_TCLSH NAMES tclsh8.6 tclsh REQUIRED)

set(QOM_TEST_ENVIRONMENT
  "TCLLIBPATH={${QOM_TCL_PACKAGE_DIR}}"
  "LC_ALL=C.UTF-8")
# What a program without the sanitizers, such as tclsh, needs to load a module that has them. It goes
# after the shell scripts, which have leaks of their own. Without libstdc++ in memory from the
# start, the sanitizer cannot follow an exception thrown by a module.
set(QOM_SANITIZED_LOADER "")
set(QOM_PYTHON_LOADER "")
if(QOM_SANITIZE)
  foreach(library asan stdc++)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=lib${library}.so
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    string(APPEND QOM_PRELOAD "${path}:")
  endforeach()
  set(QOM_SANITIZED_LOADER env LD_PRELOAD=${QOM_PRELOAD}$<TARGET_FILE:qom_tcl_malloc>)
  # Python leaves memory of its own behind.
  set(QOM_PYTHON_LOADER ${QOM_SANITIZED_LOADER} ASAN_OPTIONS=detect_leaks=0 PYTHONMALLOC=malloc)
  list(APPEND QOM_TEST_ENVIRONMENT
    "ASAN_OPTIONS=detect_leaks=1"
    "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/sanitizer/leaks.supp:print_suppressions=0"
    "UBSAN_OPTIONS=print_stacktrace=1")
endif()

# qom_add_x_test(NAME KIND COMMAND [ARGUMENT...])
# Registers a ctest entry that runs COMMAND on an X server of a kind that with-xserver knows.
function(qom_add_x_test name kind)
  add_test(NAME ${name} COMMAND ${QOM_X_SERVER} ${kind} ${ARGN})
  set_tests_properties(${name} PROPERTIES
    TIMEOUT ${QOM_TEST_TIMEOUT} LABELS "x11;${kind}" ENVIRONMENT "${QOM_TEST_ENVIRONMENT}")
endfunction()

# qom_add_tcl_tests(KIND FILE...)
# Registers each tcltest file of the current source folder, without its suffix .test, as the ctest
# entry tcl.KIND.FILE. Each runs in an empty folder of its own, its tcltest temporaryDirectory.
function(qom_add_tcl_tests kind)
  foreach(file ${ARGN})
    set(name tcl.${kind}.${file})
    set(directory ${CMAKE_CURRENT_BINARY_DIR}/${name})
    file(REMOVE_RECURSE ${directory})
    file(MAKE_DIRECTORY ${directory})
    qom_add_x_test(${name} ${kind} ${QOM_SANITIZED_LOADER} ${QOM_TCLSH} ${QOM_TCL_RUNNER}
      -testdir ${CMAKE_CURRENT_SOURCE_DIR} -file ${file}.test -tmpdir ${directory})
    set_tests_properties(${name} PROPERTIES WORKING_DIRECTORY ${directory})
  endforeach()
endfunction()
