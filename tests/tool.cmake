# Tests of the command line tool as a program: each file tool/test_NAME.py is the test tool_NAME.

find_package( Python3 REQUIRED COMPONENTS Interpreter )

if( TARGET cry_tool )
    # Looks at the memory that the tool frees.
    add_library( freed_memory MODULE tool/freed_memory.cpp )
    # Makes traces for the tool.
    add_library( tool_traces MODULE tool/traces.cpp )
    target_link_libraries( tool_traces PRIVATE tr pb )
    file( GLOB toolTests CONFIGURE_DEPENDS tool/test_*.py )
    foreach( file ${toolTests} )
        string( REGEX REPLACE ".*/test_(.*)[.]py" "tool_\\1" name ${file} )
        # -B: no compiled Python in the source tree.
        add_test( NAME ${name} COMMAND ${Python3_EXECUTABLE} -B ${file} )
        # Some tests need a program that is not instrumented. The others run only in the build with
        # the address sanitizer, which sees more.
        file( STRINGS ${file} plain REGEX "instrumented|assertNothingLeaks|CRY_FREED|CRY_TRACES|limited" )
        set( labels tool )
        if( plain )
            list( APPEND labels plain )
        endif()
        set_tests_properties( ${name} PROPERTIES LABELS "${labels}" TIMEOUT 900
            ENVIRONMENT "CRY_TOOL=$<TARGET_FILE:cry_tool>;CRY_FREED_MEMORY=$<TARGET_FILE:freed_memory>;CRY_TRACES=$<TARGET_FILE:tool_traces>" )
    endforeach()
endif()
