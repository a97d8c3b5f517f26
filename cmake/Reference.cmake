# The target "reference": the public headers as pages, in the folder reference/html of the build.
# Every name that a public header declares has a comment there; a missing one is an error.

find_package( Doxygen QUIET )
find_package( Python3 REQUIRED COMPONENTS Interpreter )
if( DOXYGEN_FOUND )
    configure_file( ${CMAKE_CURRENT_LIST_DIR}/Doxyfile.in ${CMAKE_BINARY_DIR}/Doxyfile @ONLY )
    add_custom_target( reference
        COMMAND ${CMAKE_COMMAND} -E rm -rf ${CMAKE_BINARY_DIR}/reference
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/reference
        COMMAND ${DOXYGEN_EXECUTABLE} ${CMAKE_BINARY_DIR}/Doxyfile
        VERBATIM )
endif()
