# The SQLite extension's Unicode tables are generated from the shipped UCD files into
# the build tree, and regenerated when the data or the generator changes.
find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(VELMORA_UCD_DIR "${PROJECT_SOURCE_DIR}/data/ucd/5.1.0")
set(VELMORA_UNICODE_GENERATOR "${PROJECT_SOURCE_DIR}/tools/gen-unicode-tables/gen_unicode_tables.py")
set(VELMORA_UNICODE_TABLES_DIR "${CMAKE_CURRENT_BINARY_DIR}/sqlite/generated")
set(VELMORA_UNICODE_TABLES "${VELMORA_UNICODE_TABLES_DIR}/sqlite3_unicode_tables.inc")

add_custom_command(
    OUTPUT "${VELMORA_UNICODE_TABLES}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${VELMORA_UNICODE_TABLES_DIR}"
    COMMAND Python3::Interpreter "${VELMORA_UNICODE_GENERATOR}" --ucd "${VELMORA_UCD_DIR}"
            --version 5.1.0 --output "${VELMORA_UNICODE_TABLES}"
    DEPENDS "${VELMORA_UNICODE_GENERATOR}" "${VELMORA_UCD_DIR}/UnicodeData.txt"
            "${VELMORA_UCD_DIR}/CaseFolding.txt"
    COMMENT "Generating the Unicode 5.1.0 tables of the SQLite extension"
    VERBATIM)
add_custom_target(velmora_sqlite_tables DEPENDS "${VELMORA_UNICODE_TABLES}")
set_source_files_properties("${VELMORA_UNICODE_TABLES}" PROPERTIES HEADER_FILE_ONLY ON)

target_sources(velmora_sqlite PRIVATE "${VELMORA_UNICODE_TABLES}")
target_include_directories(velmora_sqlite PRIVATE "${VELMORA_UNICODE_TABLES_DIR}")

# The same extension as a module for SQLite's `.load` (stock sqlite3 shell included):
# it reaches SQLite through the routines table the loader hands it, so it links no
# libsqlite3 of its own.
add_library(velmora_sqlite_unicode MODULE
    "${CMAKE_CURRENT_SOURCE_DIR}/sqlite/sqlite3_unicode.c" "${VELMORA_UNICODE_TABLES}")
set_target_properties(velmora_sqlite_unicode PROPERTIES
    PREFIX "lib" OUTPUT_NAME velmora_sqlite_unicode
    LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib"
    C_VISIBILITY_PRESET hidden)
target_compile_definitions(velmora_sqlite_unicode PRIVATE VELMORA_SQLITE_LOADABLE)
target_include_directories(velmora_sqlite_unicode PRIVATE
    "${PROJECT_SOURCE_DIR}" "${VELMORA_UNICODE_TABLES_DIR}" ${SQLITE3_INCLUDE_DIRS})
target_link_libraries(velmora_sqlite_unicode PRIVATE velmora_build_options)
if(NOT VELMORA_SANITIZE)
    # As for the libraries (cmake/VelmoraHelpers.cmake): clang leaves a sanitizer's runtime
    # out of shared objects, so a sanitized module keeps its symbols undefined.
    target_link_options(velmora_sqlite_unicode PRIVATE -Wl,--no-undefined)
endif()

if(VELMORA_BUILD_TESTS)
    # Testing is switched on at the top only after the library folders; this folder
    # needs it for its own tests.
    enable_testing()
    add_test(NAME sqlite.tables_regenerate
        COMMAND "${CMAKE_COMMAND}" "-DPYTHON=${Python3_EXECUTABLE}"
                "-DGENERATOR=${VELMORA_UNICODE_GENERATOR}" "-DUCD=${VELMORA_UCD_DIR}"
                "-DBUILT=${VELMORA_UNICODE_TABLES}"
                "-DSCRATCH=${CMAKE_CURRENT_BINARY_DIR}/sqlite/regenerated_tables.inc"
                -P "${PROJECT_SOURCE_DIR}/tests/sqlite/RegenerateTables.cmake")
    find_program(VELMORA_SQLITE3_SHELL sqlite3)
    # A sanitized module cannot load into the stock, unsanitized shell (the sanitizer's
    # runtime must come first in the process), so that check runs in plain builds only.
    if(VELMORA_SQLITE3_SHELL AND NOT VELMORA_SANITIZE)
        add_test(NAME sqlite.loadable_module_shell
            COMMAND "${CMAKE_COMMAND}" "-DSHELL=${VELMORA_SQLITE3_SHELL}"
                    "-DMODULE=$<TARGET_FILE:velmora_sqlite_unicode>"
                    -P "${PROJECT_SOURCE_DIR}/tests/sqlite/LoadableModuleShell.cmake")
    endif()
    set_tests_properties(sqlite.tables_regenerate PROPERTIES LABELS sqlite)
    if(TEST sqlite.loadable_module_shell)
        set_tests_properties(sqlite.loadable_module_shell PROPERTIES LABELS sqlite)
    endif()
endif()
