# libraries_package( NAME HEADERS DEPENDS ): installs one library with its headers, a pkg-config
# file and its part of the CMake package.

include( CMakePackageConfigHelpers )

function( libraries_package NAME HEADERS DEPENDS )
    install( TARGETS ${NAME} EXPORT cryTargets LIBRARY DESTINATION ${CRY_INSTALL_LIBDIR} )
    install( DIRECTORY ${CMAKE_SOURCE_DIR}/include/${HEADERS} DESTINATION ${CRY_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h PATTERN *.hpp )

    list( TRANSFORM DEPENDS PREPEND "cry-libraries-" OUTPUT_VARIABLE requires )
    list( JOIN requires " " requires )
    set( PC_NAME ${NAME} )
    set( PC_REQUIRES ${requires} )
    # From the file itself, so that it also holds after an installation to another prefix.
    set( folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig )
    file( RELATIVE_PATH PC_PREFIX ${folder} ${CMAKE_INSTALL_PREFIX} )
    string( REGEX REPLACE "/$" "" PC_PREFIX "${PC_PREFIX}" )
    foreach( kind LIBDIR INCLUDEDIR )
        set( PC_${kind} "\${prefix}/${CRY_INSTALL_${kind}}" )
        if( IS_ABSOLUTE "${CRY_INSTALL_${kind}}" )
            set( PC_${kind} "${CRY_INSTALL_${kind}}" )
        endif()
    endforeach()
    configure_file( ${CMAKE_SOURCE_DIR}/cmake/library.pc.in ${CMAKE_BINARY_DIR}/cry-libraries-${NAME}.pc @ONLY )
    install( FILES ${CMAKE_BINARY_DIR}/cry-libraries-${NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
endfunction()

install( EXPORT cryTargets NAMESPACE cry:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
install( FILES ${CMAKE_SOURCE_DIR}/cmake/cryConfig.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
write_basic_package_version_file( ${CMAKE_BINARY_DIR}/cryConfigVersion.cmake COMPATIBILITY SameMajorVersion )
install( FILES ${CMAKE_BINARY_DIR}/cryConfigVersion.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
