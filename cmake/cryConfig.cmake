# The targets cry::cry, cry::pb and the other libraries of the family.
include( "${CMAKE_CURRENT_LIST_DIR}/cryTargets.cmake" )
