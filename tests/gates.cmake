# The programs that use the libraries as a host does, and the gates: checks of the exported names,
# the headers, the layers, the form of the code, an installation and the binary interface. A gate
# that cannot run on this machine ends with 77 and counts as skipped.

find_package( Python3 REQUIRED COMPONENTS Interpreter )

add_subdirectory( frame )

function( gate NAME )
    add_test( NAME ${NAME} COMMAND ${ARGN} )
    set_tests_properties( ${NAME} PROPERTIES LABELS gate SKIP_RETURN_CODE 77 TIMEOUT 600 )
endfunction()

# -B: no compiled Python in the source tree.
set( python ${Python3_EXECUTABLE} -B )
set( architecture ${CMAKE_CURRENT_SOURCE_DIR}/architecture )
gate( gate_exports ${python} ${architecture}/check_exports.py ${CMAKE_BINARY_DIR}/lib )
gate( gate_registration ${python} ${architecture}/check_registration.py )
gate( gate_headers ${python} ${architecture}/check_headers.py )
gate( gate_documentation ${python} ${architecture}/check_documentation.py )
include( ${CMAKE_SOURCE_DIR}/cmake/Reference.cmake )
if( TARGET reference )
    gate( gate_reference ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target reference )
endif()
gate( gate_layers ${python} ${architecture}/check_layers.py )
gate( gate_lines ${python} ${architecture}/check_lines.py )
gate( gate_format ${architecture}/check_format.sh )
gate( gate_self_test ${python} ${architecture}/test_gates.py )
gate( gate_trust_root ${python} ${architecture}/test_trust_root.py )

# Instrumented builds are not installed.
if( NOT CRY_SANITIZE AND NOT CRY_COVERAGE )
    gate( gate_install ${CMAKE_CURRENT_SOURCE_DIR}/install/install_test.sh ${CMAKE_BINARY_DIR} )
    gate( gate_readme ${python} ${CMAKE_CURRENT_SOURCE_DIR}/install/readme_test.py ${CMAKE_BINARY_DIR} )
    gate( gate_readme_self_test ${python} ${CMAKE_CURRENT_SOURCE_DIR}/install/test_readme.py ${CMAKE_BINARY_DIR} )
    # The types come from full debug information, which Release builds do not have.
    if( CMAKE_BUILD_TYPE STREQUAL Debug AND CMAKE_CXX_COMPILER_ID STREQUAL GNU )
        gate( gate_abi ${CMAKE_CURRENT_SOURCE_DIR}/abi/check_abi.sh $<TARGET_FILE:cry> )
        gate( gate_abi_self_test ${CMAKE_CURRENT_SOURCE_DIR}/abi/test_abi.sh )
    endif()
endif()
