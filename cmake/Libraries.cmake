# cry_library( NAME DEPENDS libraries... [HEADERS folder] [LINK libraries...] ): one library of the
# family.
#
#   source/NAME/**.cpp              its sources
#   source/NAME/exports.txt         every name that it exports, and no other
#   include/NAME (or HEADERS)       its public headers, installed
#
# Names like bn, in and tr are common. So the libraries and the headers are installed in folders of
# their own, which no compiler and no loader searches by itself.
#
# Makes NAME_objects (the object library that white-box tests and fuzzers link) and NAME (the shared
# library that everything else links).

set( CRY_INSTALL_LIBDIR ${CMAKE_INSTALL_LIBDIR}/cry )
set( CRY_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/cry-libraries )

string( TIMESTAMP PRODUCT_BUILD_TIME "UTC %Y-%m-%d %H:%M:%S (%A)" UTC )

set( LIBRARIES_WARNINGS -Wall -Wextra -Werror -Wmissing-declarations -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Wvla )
set( LIBRARIES_CXX_WARNINGS )
if( CMAKE_CXX_COMPILER_ID STREQUAL GNU )
    # GCC 12 sees overlaps in inlined std::string code that are not there.
    list( APPEND LIBRARIES_WARNINGS -Wno-restrict )
endif()
if( CMAKE_CXX_COMPILER_ID MATCHES Clang )
    list( APPEND LIBRARIES_CXX_WARNINGS -Wglobal-constructors -Wexit-time-destructors -Wthread-safety )
endif()

add_library( libraries_options INTERFACE )
# Paths in contract reports begin at the root of the repository.
target_compile_options( libraries_options INTERFACE -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/= $<$<CONFIG:Release>:-g1> )
if( CRY_SANITIZE )
    target_compile_options( libraries_options INTERFACE -fsanitize=${CRY_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all )
    target_link_options( libraries_options INTERFACE -fsanitize=${CRY_SANITIZE} )
    if( CRY_SANITIZE MATCHES thread AND CMAKE_CXX_COMPILER_ID STREQUAL GNU )
        target_compile_options( libraries_options INTERFACE -Wno-tsan )
    endif()
endif()
if( CRY_FUZZ )
    target_compile_options( libraries_options INTERFACE -fsanitize=fuzzer-no-link )
endif()
if( CRY_COVERAGE )
    target_compile_options( libraries_options INTERFACE --coverage )
    target_link_options( libraries_options INTERFACE --coverage )
endif()
target_include_directories( libraries_options INTERFACE $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/include> )

# In Release, plain names for the build kind.
if( CMAKE_BUILD_TYPE STREQUAL Debug )
    set( PRODUCT_BUILD_KIND Debug )
else()
    set( PRODUCT_BUILD_KIND Release )
endif()

# libraries_product_definitions( file ): the definitions that the file of a module needs for the
# module's record.
function( libraries_product_definitions FILE )
    set_property( SOURCE ${FILE} PROPERTY COMPILE_DEFINITIONS
        "PB_PRODUCT_TAG=\"orvelletr\""
        "PB_PRODUCT_DISPLAY_NAME=\"${CRY_PRODUCT_DISPLAY_NAME}\""
        "PB_PRODUCT_VENDOR=\"${CRY_PRODUCT_VENDOR}\""
        "PB_PRODUCT_COPYRIGHT=\"${CRY_PRODUCT_COPYRIGHT}\""
        "PB_PRODUCT_MAJOR=${PROJECT_VERSION_MAJOR}"
        "PB_PRODUCT_MINOR=${PROJECT_VERSION_MINOR}"
        "PB_PRODUCT_BUILD=${PROJECT_VERSION_PATCH}"
        "PB_PRODUCT_BUILD_TIME=\"${PRODUCT_BUILD_TIME}\""
        "PB_PRODUCT_BUILD_KIND=\"${PRODUCT_BUILD_KIND}\"" )
endfunction()

function( cry_library NAME )
    cmake_parse_arguments( LIB "" "HEADERS" "DEPENDS;LINK" ${ARGN} )
    if( NOT LIB_HEADERS )
        set( LIB_HEADERS ${NAME} )
    endif()
    set( folder ${CMAKE_SOURCE_DIR}/source/${NAME} )
    file( GLOB_RECURSE sources CONFIGURE_DEPENDS ${folder}/*.cpp )

    add_library( ${NAME}_objects OBJECT ${sources} )
    target_include_directories( ${NAME}_objects PRIVATE ${folder} )
    target_link_libraries( ${NAME}_objects PUBLIC libraries_options ${LIB_LINK} Threads::Threads )
    target_compile_options( ${NAME}_objects PRIVATE ${LIBRARIES_WARNINGS} $<$<COMPILE_LANGUAGE:CXX>:${LIBRARIES_CXX_WARNINGS}>
        -fno-exceptions -fvisibility=hidden -fno-semantic-interposition )
    # Sanitizers slow the tests down many times; most of that is saved here, where it costs next to
    # no time to compile.
    if( CRY_SANITIZE )
        target_compile_options( ${NAME}_objects PRIVATE $<$<CONFIG:Debug>:-O1> )
    endif()
    # The module's record carries the build; only its file is compiled again when that changes.
    file( GLOB_RECURSE moduleSource ${folder}/*${NAME}_module.cpp )
    libraries_product_definitions( ${moduleSource} )
    target_compile_definitions( ${NAME}_objects PRIVATE "PB_PRODUCT_SOVERSION=\"${PROJECT_VERSION_MAJOR}\"" )

    # The version script keeps everything else in, libstdc++'s templates above all.
    file( STRINGS ${folder}/exports.txt names )
    string( JOIN " " names ${names} )
    string( REPLACE " " ";\n        " names "${names}" )
    set( script ${CMAKE_BINARY_DIR}/${NAME}.map )
    file( CONFIGURE OUTPUT ${script} CONTENT "{\n    global:\n        @names@;\n    local:\n        *;\n};\n" @ONLY )
    set_property( DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/exports.txt )

    add_library( ${NAME} SHARED $<TARGET_OBJECTS:${NAME}_objects> )
    set_target_properties( ${NAME} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib LINKER_LANGUAGE CXX INSTALL_RPATH "$ORIGIN" LINK_DEPENDS ${script} )
    target_link_libraries( ${NAME} PUBLIC $<BUILD_INTERFACE:libraries_options> PRIVATE ${LIB_LINK} Threads::Threads )
    target_link_options( ${NAME} PRIVATE -Wl,-Bsymbolic-functions,-z,now,-z,nodelete,--version-script=${script} )
    if( NOT CRY_SANITIZE AND NOT CRY_FUZZ )
        target_link_options( ${NAME} PRIVATE -Wl,--no-undefined )
    endif()
    target_include_directories( ${NAME} INTERFACE $<INSTALL_INTERFACE:${CRY_INSTALL_INCLUDEDIR}> )
    # The .hpp headers need it. In programs of C alone this asks for nothing.
    target_compile_features( ${NAME} INTERFACE cxx_std_20 )
    foreach( dependency ${LIB_DEPENDS} )
        target_link_libraries( ${NAME} PUBLIC ${dependency} )
        target_link_libraries( ${NAME}_objects PUBLIC libraries_options )
    endforeach()

    libraries_package( ${NAME} ${LIB_HEADERS} "${LIB_DEPENDS}" )
endfunction()
