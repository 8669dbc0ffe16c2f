# Every dependency is a Debian package installed by scripts/bootstrap.
find_package(Threads REQUIRED)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)
find_package(CLI11 REQUIRED)
find_package(PkgConfig REQUIRED)

# velmora_pkg_dependency(PREFIX <pkg-config modules>...)
# Finds a dependency through pkg-config as the imported target PkgConfig::PREFIX and
# records it, so that the installed CMake package finds it the same way and the installed
# pkg-config files require it by its module names.
function(velmora_pkg_dependency prefix)
    pkg_check_modules(${prefix} REQUIRED IMPORTED_TARGET GLOBAL ${ARGN})
    set_property(GLOBAL APPEND PROPERTY VELMORA_PKG_DEPENDENCIES ${prefix})
    set_property(GLOBAL PROPERTY VELMORA_PKG_MODULES_${prefix} "${ARGN}")
endfunction()

velmora_pkg_dependency(ICU icu-uc icu-i18n)
velmora_pkg_dependency(PLIST libplist-2.0)
velmora_pkg_dependency(SQLITE3 sqlite3)
velmora_pkg_dependency(GLES egl glesv2)
velmora_pkg_dependency(PNG libpng16)

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
