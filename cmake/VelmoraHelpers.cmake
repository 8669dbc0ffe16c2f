# Build conventions shared by every target of the project.

add_library(velmora_build_options INTERFACE)
target_compile_options(velmora_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Wcast-align -Wformat=2 -Wundef
    # GCC's plain -Wshadow also flags scoped enumerators named like types (Kind::Date).
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
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

# velmora_add_module(NAME DEPS <targets>...)
# One static library per folder of Velmora/, holding every source in that folder.
function(velmora_add_module name)
    cmake_parse_arguments(ARG "" "" "DEPS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS
        "${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.cpp" "${CMAKE_CURRENT_SOURCE_DIR}/${name}/*.c")
    if(NOT sources)
        # A module whose folder holds only headers so far.
        add_library(velmora_${name} INTERFACE)
        target_include_directories(velmora_${name} INTERFACE "${PROJECT_SOURCE_DIR}")
        target_link_libraries(velmora_${name} INTERFACE ${ARG_DEPS})
        set_property(GLOBAL APPEND PROPERTY VELMORA_MODULES velmora_${name})
        return()
    endif()
    add_library(velmora_${name} STATIC ${sources})
    target_include_directories(velmora_${name} PUBLIC "${PROJECT_SOURCE_DIR}")
    target_link_libraries(velmora_${name} PUBLIC ${ARG_DEPS} PRIVATE velmora_build_options)
    set_property(GLOBAL APPEND PROPERTY VELMORA_MODULES velmora_${name})
endfunction()

# velmora_add_test(MODULE <module> [LABELS <labels>...] [DEPS <targets>...])
# One GoogleTest executable per module: every *Test.cpp under tests/<module>/.
function(velmora_add_test)
    cmake_parse_arguments(ARG "" "MODULE" "LABELS;DEPS" ${ARGN})
    file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_MODULE}/*.cpp")
    if(NOT sources)
        return()
    endif()
    set(target velmora_${ARG_MODULE}_tests)
    add_executable(${target} ${sources})
    target_link_libraries(${target} PRIVATE velmora_${ARG_MODULE} ${ARG_DEPS}
        velmora_test_support GTest::gtest GTest::gmock velmora_build_options)
    gtest_discover_tests(${target}
        DISCOVERY_MODE PRE_TEST
        PROPERTIES LABELS "${ARG_MODULE};${ARG_LABELS}" TIMEOUT 120)
endfunction()
