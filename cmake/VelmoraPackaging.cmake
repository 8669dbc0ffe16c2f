# `make package`: Debian packages through CPack, one per component:
#   libvelmora0     the module libraries and the loadable SQLite module (Runtime)
#   velmora         the command-line tool, its man page and bash completion (Tool)
#   libvelmora-dev  headers, the CMake package and the pkg-config files (Development)
# The runtime's dependencies come from dpkg-shlibdeps; the others depend on it exactly.

# The man page is velmora --help as help2man lays it out, so it never disagrees with the
# tool. Builds without help2man simply install no man page.
find_program(VELMORA_HELP2MAN help2man)
if(VELMORA_HELP2MAN)
    set(man_page "${PROJECT_BINARY_DIR}/man/velmora.1")
    add_custom_command(OUTPUT "${man_page}"
        COMMAND "${CMAKE_COMMAND}" -E make_directory "${PROJECT_BINARY_DIR}/man"
        COMMAND "${VELMORA_HELP2MAN}" --no-info --no-discard-stderr
                --name "the Velmora framework on the command line"
                --output "${man_page}" "$<TARGET_FILE:velmora_tool>"
        DEPENDS velmora_tool
        COMMENT "Generating the velmora man page from --help"
        VERBATIM)
    add_custom_target(velmora_man_page ALL DEPENDS "${man_page}")
    install(FILES "${man_page}" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tool)
endif()

set(CPACK_PACKAGE_NAME velmora)
set(CPACK_PACKAGE_VENDOR "Velmora")
set(CPACK_PACKAGE_CONTACT "Velmora developers <velmora@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL Runtime Tool Development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(runtime_package libvelmora${PROJECT_VERSION_MAJOR})
set(exact_runtime "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "Velmora framework, shared libraries\n The libraries of the Velmora framework and its loadable SQLite Unicode module.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME velmora)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
# The tool alone draws with cairo (the spring plot).
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${exact_runtime}, libcairo2")
set(CPACK_DEBIAN_TOOL_DESCRIPTION
    "Velmora framework on the command line\n The velmora tool: dates, text, SQL, JSON, images and the framework's other capabilities.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelmora-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# The development packages of what the public headers and the exported targets use.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${exact_runtime}, libfmt-dev, libspdlog-dev, libicu-dev, libplist-dev, libasio-dev, libsqlite3-dev, libegl-dev, libgles-dev, libpng-dev, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "Velmora framework, development files\n Headers, the CMake package (find_package(Velmora)) and pkg-config files.")

include(CPack)
