# family_package( NAME HEADERS DEPENDS ): installs one library with its headers, a pkg-config file and its part of the CMake package.

include( CMakePackageConfigHelpers )

function( family_package NAME HEADERS DEPENDS )
    install( TARGETS ${NAME} EXPORT cryTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} )
    install( DIRECTORY include/${HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} )

    list( TRANSFORM DEPENDS PREPEND "cry-family-" OUTPUT_VARIABLE requires )
    list( JOIN requires " " requires )
    set( PC_NAME ${NAME} )
    set( PC_REQUIRES ${requires} )
    configure_file( cmake/family.pc.in ${CMAKE_BINARY_DIR}/cry-family-${NAME}.pc @ONLY )
    install( FILES ${CMAKE_BINARY_DIR}/cry-family-${NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig )
endfunction()

install( EXPORT cryTargets NAMESPACE cry:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
install( FILES ${CMAKE_SOURCE_DIR}/cmake/cryConfig.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
write_basic_package_version_file( ${CMAKE_BINARY_DIR}/cryConfigVersion.cmake COMPATIBILITY SameMajorVersion )
install( FILES ${CMAKE_BINARY_DIR}/cryConfigVersion.cmake DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/cry )
