# The Debian packages that cpack makes: libuserstore-dev, the static library, and userdb, the program.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_PACKAGE_CONTACT "userstore maintainers <maintainers@users.noreply.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS # whatever the umask
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PACKAGE_SOURCE userstore)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each description begins with its own
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libuserstore-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libsqlite3-dev (>= 3.24)")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "store of a messaging client's users in SQLite
Keeps every user that a messaging client knows in one SQLite table, and
stores, fetches, lists and searches them by typed operations on the client's
own connection.

This package holds the static library, its headers, and what CMake and
pkg-config find it by.")
set(CPACK_DEBIAN_USERDB_PACKAGE_NAME userdb)
set(CPACK_DEBIAN_USERDB_PACKAGE_SECTION database)
set(CPACK_DEBIAN_USERDB_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_USERDB_DESCRIPTION "look into the users that a messaging client knows
Imports, exports, lists, searches and changes the users in the SQLite table
of a messaging client.")

set(changelog ${PROJECT_BINARY_DIR}/changelog.gz)
add_custom_command(OUTPUT ${changelog}
  COMMAND cmake/make-changelog CHANGELOG.md ${CPACK_PACKAGE_CONTACT} ${changelog}
  DEPENDS CHANGELOG.md cmake/make-changelog
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
add_custom_target(changelog DEPENDS ${changelog})
foreach(component LIBRARY USERDB) # in the packages alone, not in what `cmake --install` puts there
  string(TOLOWER ${component} name)
  install(FILES ${changelog} cmake/copyright COMPONENT ${name} EXCLUDE_FROM_ALL
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${component}_PACKAGE_NAME})
endforeach()

include(CPack)
