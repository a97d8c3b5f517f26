# The command line tool, from outside.

find_package( Python3 REQUIRED COMPONENTS Interpreter )

if( TARGET cry_tool )
    # -B: no compiled Python in the source tree.
    add_test( NAME tool_tests COMMAND ${Python3_EXECUTABLE} -B ${CMAKE_CURRENT_SOURCE_DIR}/tool/test_tool.py )
    set_tests_properties( tool_tests PROPERTIES ENVIRONMENT "CRY_TOOL=$<TARGET_FILE:cry_tool>" LABELS tool TIMEOUT 900 )
endif()
