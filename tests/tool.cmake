# The command line tool, from outside.

find_package( Python3 REQUIRED COMPONENTS Interpreter )

if( TARGET cry_tool )
    function( tool_test NAME FILE )
        # -B: no compiled Python in the source tree.
        add_test( NAME ${NAME} COMMAND ${Python3_EXECUTABLE} -B ${CMAKE_CURRENT_SOURCE_DIR}/tool/${FILE} )
        set_tests_properties( ${NAME} PROPERTIES ENVIRONMENT "CRY_TOOL=$<TARGET_FILE:cry_tool>" LABELS tool TIMEOUT 900 )
    endfunction()
    tool_test( tool_tests test_tool.py )
    tool_test( tool_keys_tests test_keys.py )
    tool_test( tool_identity_tests test_identity.py )
endif()
