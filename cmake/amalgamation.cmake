# Makes the target SQLite::SQLite3 of the one source file of SQLite or SQLCipher in the folder
# AMALGAMATION, compiled with the macros in AMALGAMATION_DEFINITIONS; SQLITE_HAS_CODEC among them is
# SQLCipher's, and brings what else that needs. A project includes it before it adds userstore; a build
# of userstore alone takes it as CMAKE_PROJECT_userstore_INCLUDE.
enable_language(C)
find_package(Threads REQUIRED)
add_library(amalgamation STATIC EXCLUDE_FROM_ALL "${AMALGAMATION}/sqlite3.c")
target_compile_definitions(amalgamation PRIVATE ${AMALGAMATION_DEFINITIONS} SQLITE_OMIT_LOAD_EXTENSION)
target_compile_options(amalgamation PRIVATE -w)
target_link_libraries(amalgamation PUBLIC Threads::Threads)
if("SQLITE_HAS_CODEC" IN_LIST AMALGAMATION_DEFINITIONS)
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
  target_link_libraries(amalgamation PUBLIC OpenSSL::Crypto)
  target_compile_definitions(amalgamation PRIVATE HAVE_STDINT_H SQLITE_TEMP_STORE=2
    SQLITE_EXTRA_INIT=sqlcipher_extra_init SQLITE_EXTRA_SHUTDOWN=sqlcipher_extra_shutdown)
endif()

# Imported, since what is installed then asks its user for this target too.
add_library(SQLite::SQLite3 INTERFACE IMPORTED)
target_include_directories(SQLite::SQLite3 INTERFACE "${AMALGAMATION}")
target_compile_definitions(SQLite::SQLite3 INTERFACE ${AMALGAMATION_DEFINITIONS}) # the header asks
target_link_libraries(SQLite::SQLite3 INTERFACE amalgamation)
