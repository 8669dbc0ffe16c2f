# ctest script: runs the generator again and compares its output with the tables the
# build compiled in. Fails when the build's tables are stale or the generator is not
# deterministic.
#   cmake -DPYTHON=... -DGENERATOR=... -DUCD=... -DBUILT=... -DSCRATCH=... -P RegenerateTables.cmake
execute_process(
    COMMAND "${PYTHON}" "${GENERATOR}" --ucd "${UCD}" --version 5.1.0 --output "${SCRATCH}"
    RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "the generator failed: ${status}")
endif()
execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${SCRATCH}" "${BUILT}"
                RESULT_VARIABLE different)
file(REMOVE "${SCRATCH}")
if(different)
    message(FATAL_ERROR "regenerated tables differ from ${BUILT}")
endif()
