# Build conventions shared by every target of the project.

add_library(velmora_build_options INTERFACE)
target_compile_options(velmora_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wcast-align -Wformat=2 -Wundef
    # GCC's plain -Wshadow also flags scoped enumerators named like types (Kind::Date).
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
    # GCC 12 reports impossible overlaps inside std::string's operator+ once -O3 inlines
    # it (GCC bugs 105329 and 105651); the warning finds nothing real in this code.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
    $<$<BOOL:${VELMORA_WERROR}>:-Werror>)
if(VELMORA_SANITIZE)
    target_compile_options(velmora_build_options INTERFACE
        -fsanitize=${VELMORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(velmora_build_options INTERFACE -fsanitize=${VELMORA_SANITIZE})
    if(VELMORA_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Asio issues thread fences, which GCC warns TSan cannot model; its handler
        # queues are mutex-protected, so the fences add no ordering TSan would miss.
        target_compile_options(velmora_build_options INTERFACE -Wno-tsan)
    endif()
endif()

# velmora_add_module(NAME [WHOLE_ARCHIVE] DEPS <targets>...)
# One library per folder of Velmora/, holding every source in that folder and its
# sub-folders (platform/ is laid out by concern, imaging/ keeps its GL layer in gl/).
# Shared (versioned, exporting only namespace velmora) unless VELMORA_SHARED is off; the
# installed target is Velmora::NAME.
# WHOLE_ARCHIVE: the module has objects nothing refers to by name (self-registering
# classes). A static archive would lose them at every link, so in static builds
# velmora_NAME is an interface that links the archive (velmora_NAME_archive, file
# libvelmora_NAME.a) whole into every consumer, the installed package's included.
function(velmora_add_module name)
    cmake_parse_arguments(ARG "WHOLE_ARCHIVE" "" "DEPS" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS
        "${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp" "${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.c")
    set(target velmora_${name})
    if(NOT sources)
        # A module whose folder holds only headers so far.
        add_library(${target} INTERFACE)
        target_include_directories(${target} INTERFACE
            "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
        target_link_libraries(${target} INTERFACE ${ARG_DEPS})
    else()
        set(library ${target})
        if(ARG_WHOLE_ARCHIVE AND NOT BUILD_SHARED_LIBS)
            set(library ${target}_archive)
            add_library(${target} INTERFACE)
            target_link_libraries(${target} INTERFACE "$<LINK_LIBRARY:WHOLE_ARCHIVE,${library}>")
        endif()
        velmora_add_module_library(${library} "${sources}" "${ARG_DEPS}")
        if(NOT library STREQUAL target)
            set_target_properties(${library} PROPERTIES
                OUTPUT_NAME ${target} EXPORT_NAME ${name}_archive)
            set_property(GLOBAL APPEND PROPERTY VELMORA_MODULE_ARCHIVES ${library})
        endif()
    endif()
    set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
    add_library(Velmora::${name} ALIAS ${target})
    set_property(GLOBAL APPEND PROPERTY VELMORA_MODULES ${target})
    set_property(GLOBAL APPEND PROPERTY VELMORA_MODULE_NAMES ${name})
    set_property(GLOBAL PROPERTY VELMORA_MODULE_DEPS_${name} "${ARG_DEPS}")
endfunction()

# The library of a module: its sources, include directory, dependencies and link options.
function(velmora_add_module_library target sources deps)
    add_library(${target} ${sources})
    target_include_directories(${target} PUBLIC
        "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
    target_link_libraries(${target} PUBLIC ${deps} PRIVATE velmora_build_options)
    # $ORIGIN: an installed library finds the modules it uses beside itself, wherever
    # the tree was installed or unpacked.
    set_target_properties(${target} PROPERTIES
        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "$ORIGIN")
    if(BUILD_SHARED_LIBS)
        # -Bsymbolic-functions: a library's calls to its own functions bind inside it
        # at link time instead of going through the PLT (nobody interposes them).
        target_link_options(${target} PRIVATE
            "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/velmora.map"
            -Wl,-Bsymbolic-functions)
        if(NOT VELMORA_SANITIZE)
            # Every library names what it uses. (Clang links a sanitizer's runtime into
            # executables only, so sanitized libraries keep its symbols undefined.)
            target_link_options(${target} PRIVATE -Wl,--no-undefined)
        endif()
        set_property(TARGET ${target} APPEND PROPERTY
            LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/velmora.map")
    endif()
endfunction()

# velmora_add_test(MODULE <module> [LABELS <labels>...] [DEPS <targets>...])
# One GoogleTest executable per module: every *Test.cpp under tests/<module>/.
function(velmora_add_test)
    cmake_parse_arguments(ARG "" "MODULE" "LABELS;DEPS" ${ARGN})
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_MODULE}/*.cpp")
    if(NOT sources)
        return()
    endif()
    set(target velmora_${ARG_MODULE}_tests)
    add_executable(${target} ${sources})
    target_link_libraries(${target} PRIVATE velmora_${ARG_MODULE} ${ARG_DEPS}
        velmora_test_support GTest::gtest GTest::gmock velmora_build_options)
    gtest_discover_tests(${target}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS "${ARG_MODULE};${ARG_LABELS}" TIMEOUT 120
        # Read by ThreadSanitizer builds only (see the file for what it hides and why).
        # Appended, so that the options the test preset sets (halt_on_error) still hold.
        ENVIRONMENT_MODIFICATION
            "TSAN_OPTIONS=string_append::suppressions=${PROJECT_SOURCE_DIR}/tests/support/tsan.supp")
endfunction()

# velmora_add_bench(NAME <name> SOURCES <files>... [DEPS <targets>...])
# A Google Benchmark program; peers are linked into the same program so that one run
# measures both.
function(velmora_add_bench)
    cmake_parse_arguments(ARG "" "NAME" "SOURCES;DEPS" ${ARGN})
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_include_directories(${ARG_NAME} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${ARG_NAME} PRIVATE velmora ${ARG_DEPS} benchmark::benchmark
                          benchmark::benchmark_main velmora_build_options)
    set_property(GLOBAL APPEND PROPERTY VELMORA_BENCHES ${ARG_NAME})
endfunction()

# velmora_add_fuzzer(NAME <name> SOURCES <files>... [CORPUS <dir>] [RUNS <n>] [DEPS <targets>...])
# With VELMORA_LIBFUZZER (the clang `fuzz` preset) a libFuzzer program; otherwise the
# same target linked with fuzz/driver, which replays the seed corpus and RUNS mutated and
# random inputs, registered with ctest under the label "fuzz".
function(velmora_add_fuzzer)
    cmake_parse_arguments(ARG "" "NAME;CORPUS;RUNS" "SOURCES;DEPS" ${ARGN})
    if(NOT ARG_RUNS)
        set(ARG_RUNS 100000)  # generated inputs per ctest run; lower it for slow targets
    endif()
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_include_directories(${ARG_NAME} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${ARG_NAME} PRIVATE velmora ${ARG_DEPS} velmora_build_options)
    if(VELMORA_LIBFUZZER)
        target_link_options(${ARG_NAME} PRIVATE -fsanitize=fuzzer)
    else()
        target_sources(${ARG_NAME} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/driver/FuzzDriver.cpp")
        if(VELMORA_BUILD_TESTS)
            add_test(NAME fuzz.${ARG_NAME} COMMAND ${ARG_NAME} --runs ${ARG_RUNS} ${ARG_CORPUS})
            set_tests_properties(fuzz.${ARG_NAME} PROPERTIES LABELS fuzz TIMEOUT 300)
        endif()
    endif()
    set_property(GLOBAL APPEND PROPERTY VELMORA_FUZZERS ${ARG_NAME})
    set_property(TARGET ${ARG_NAME} PROPERTY VELMORA_CORPUS "${ARG_CORPUS}")
endfunction()
