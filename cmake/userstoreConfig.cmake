if(NOT TARGET SQLite::SQLite3) # the application's own
  include(CMakeFindDependencyMacro)
  find_dependency(SQLite3 3.24)
endif()
include("${CMAKE_CURRENT_LIST_DIR}/userstoreTargets.cmake")
