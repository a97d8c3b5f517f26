# The root that trust tokens lead to. A product names its own with CRY_TRUST_ROOT. Without it, the
# build tree gets a root, an intermediate and a signer for development, made once.
set( CRY_TRUST_ROOT "" CACHE FILEPATH "PEM file with the one self-signed CA certificate, with an RSA key, that trust tokens lead to" )

set( script ${CMAKE_SOURCE_DIR}/cmake/trust_root.sh )
function( trust_root_step )
    execute_process( COMMAND ${script} ${ARGN} RESULT_VARIABLE result ERROR_VARIABLE problem ERROR_STRIP_TRAILING_WHITESPACE )
    if( result )
        message( FATAL_ERROR "CRY_TRUST_ROOT: ${problem}" )
    endif()
endfunction()

if( CRY_TRUST_ROOT )
    get_filename_component( root "${CRY_TRUST_ROOT}" ABSOLUTE BASE_DIR ${CMAKE_SOURCE_DIR} )
    set( TRUST_ROOT_KIND "" )
else()
    trust_root_step( make ${CMAKE_BINARY_DIR}/development-trust )
    set( root ${CMAKE_BINARY_DIR}/development-trust/root.pem )
    set( TRUST_ROOT_KIND " with development root" )
endif()
set( TRUST_ROOT_FOLDER ${CMAKE_BINARY_DIR}/trust )
file( MAKE_DIRECTORY ${TRUST_ROOT_FOLDER} )
trust_root_step( embed ${root} ${TRUST_ROOT_FOLDER}/cry_trust_root.inc )
set_property( DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${root} )
