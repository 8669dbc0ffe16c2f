# ctest script: loads the extension module into the stock sqlite3 shell and checks what
# its functions and collation answer there.
#   cmake -DSHELL=sqlite3 -DMODULE=/path/libvelmora_sqlite_unicode.so -P LoadableModuleShell.cmake
get_filename_component(folder "${MODULE}" DIRECTORY)
execute_process(
    COMMAND "${SHELL}" -batch :memory: ".load ${folder}/libvelmora_sqlite_unicode"
            "SELECT unicode_version(), fold('ÀÉÎ'), upper('ǆemal'), unaccent('Crème brûlée'), 'Été' LIKE 'ete', 'ÉCOLE' = 'école' COLLATE NOCASE;"
            "CREATE TABLE t(n TEXT COLLATE NOCASE UNIQUE); INSERT INTO t VALUES ('Ärger'); INSERT OR IGNORE INTO t VALUES ('ÄRGER'); SELECT count(*) FROM t;"
    OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
set(expected "5.1.0.12|àéî|ǄEMAL|Creme brulee|1|1\n1\n")
if(NOT status EQUAL 0 OR NOT output STREQUAL expected)
    message(FATAL_ERROR "sqlite3 answered (${status}):\n${output}${errors}\nexpected:\n${expected}")
endif()
