# Every dependency is a Debian package installed by scripts/bootstrap.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(ICU REQUIRED IMPORTED_TARGET icu-uc icu-i18n)

# Standalone Asio is header-only.
find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(velmora_asio INTERFACE)
target_include_directories(velmora_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_compile_definitions(velmora_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(velmora_asio INTERFACE Threads::Threads)

if(VELMORA_BUILD_TESTS)
    find_package(GTest REQUIRED)
    include(GoogleTest)
endif()
if(VELMORA_BUILD_BENCH)
    find_package(benchmark REQUIRED)
endif()
