include(CMakeFindDependencyMacro)
find_dependency(SQLite3 3.24)
include("${CMAKE_CURRENT_LIST_DIR}/userstoreTargets.cmake")
