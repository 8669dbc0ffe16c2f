# What `cmake --install` puts where: the module libraries (runtime), the velmora tool and
# the loadable SQLite module, and for development the public headers under
# include/Velmora/, a CMake package (Velmora::NAME targets) and pkg-config files
# (velmora-NAME.pc, velmora.pc for all). Headers under internal/ folders stay private.
include(CMakePackageConfigHelpers)

set(VELMORA_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/Velmora")
get_property(velmora_modules GLOBAL PROPERTY VELMORA_MODULES)
get_property(velmora_module_names GLOBAL PROPERTY VELMORA_MODULE_NAMES)
# Static archives that their module's interface links whole (see velmora_add_module).
get_property(velmora_module_archives GLOBAL PROPERTY VELMORA_MODULE_ARCHIVES)

set_target_properties(velmora_asio PROPERTIES EXPORT_NAME asio)
set(exported_targets ${velmora_modules} ${velmora_module_archives} velmora velmora_asio)
if(NOT BUILD_SHARED_LIBS)
    # Static libraries carry their private link options (sanitizers) to their users.
    set_target_properties(velmora_build_options PROPERTIES EXPORT_NAME build_options)
    list(APPEND exported_targets velmora_build_options)
endif()
install(TARGETS ${exported_targets} EXPORT VelmoraTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime
        NAMELINK_COMPONENT Development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/Velmora/" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Velmora
    COMPONENT Development FILES_MATCHING PATTERN "*.h" PATTERN internal EXCLUDE)
install(EXPORT VelmoraTargets NAMESPACE Velmora:: DESTINATION ${VELMORA_CMAKE_DIR}
    COMPONENT Development)

# The installed package finds the pkg-config dependencies the build found, by the same
# prefixes, so that the exported targets' PkgConfig::PREFIX names resolve.
get_property(pkg_prefixes GLOBAL PROPERTY VELMORA_PKG_DEPENDENCIES)
set(VELMORA_CONFIG_PKG_DEPENDENCIES "")
foreach(prefix IN LISTS pkg_prefixes)
    get_property(pkg_modules GLOBAL PROPERTY VELMORA_PKG_MODULES_${prefix})
    list(JOIN pkg_modules " " pkg_modules)
    string(APPEND VELMORA_CONFIG_PKG_DEPENDENCIES
        "if(NOT TARGET PkgConfig::${prefix})\n"
        "    pkg_check_modules(${prefix} QUIET IMPORTED_TARGET ${pkg_modules})\n"
        "    if(NOT ${prefix}_FOUND)\n"
        "        set(Velmora_FOUND FALSE)\n"
        "        set(Velmora_NOT_FOUND_MESSAGE \"Velmora needs ${pkg_modules} (pkg-config)\")\n"
        "        return()\n"
        "    endif()\n"
        "endif()\n")
endforeach()
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/VelmoraConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake" INSTALL_DESTINATION ${VELMORA_CMAKE_DIR})
# Before 1.0 a minor version may break the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake"
    COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/VelmoraConfig.cmake"
    "${PROJECT_BINARY_DIR}/VelmoraConfigVersion.cmake"
    DESTINATION ${VELMORA_CMAKE_DIR} COMPONENT Development)

# pkg-config files: one per module, requiring the modules and packages it links.
set(pc_dir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH VELMORA_PC_PREFIX_FROM_PCDIR "/root/${pc_dir}" "/root")
string(REGEX REPLACE "/$" "" VELMORA_PC_PREFIX_FROM_PCDIR "${VELMORA_PC_PREFIX_FROM_PCDIR}")
function(velmora_write_pc file name description requires cflags libs)
    set(VELMORA_PC_NAME "${name}")
    set(VELMORA_PC_DESCRIPTION "${description}")
    list(JOIN requires ", " VELMORA_PC_REQUIRES)
    list(JOIN cflags " " VELMORA_PC_CFLAGS)
    list(JOIN libs " " VELMORA_PC_LIBS)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/velmora.pc.in" "${PROJECT_BINARY_DIR}/pkgconfig/${file}"
        @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/pkgconfig/${file}" DESTINATION ${pc_dir}
        COMPONENT Development)
endfunction()

set(all_requires "")
foreach(name IN LISTS velmora_module_names)
    get_property(deps GLOBAL PROPERTY VELMORA_MODULE_DEPS_${name})
    set(requires "")
    set(cflags "")
    set(libs "")
    if(TARGET velmora_${name})
        get_target_property(type velmora_${name} TYPE)
        if(TARGET velmora_${name}_archive)
            set(libs "-L\${libdir}" -Wl,--whole-archive "-lvelmora_${name}"
                -Wl,--no-whole-archive)
        elseif(NOT type STREQUAL "INTERFACE_LIBRARY")
            set(libs "-L\${libdir}" "-lvelmora_${name}")
        endif()
    endif()
    foreach(dep IN LISTS deps)
        if(dep MATCHES "^velmora_asio$")
            list(APPEND cflags -DASIO_STANDALONE -DASIO_NO_DEPRECATED)
            list(APPEND libs -pthread)
        elseif(dep MATCHES "^velmora_(.+)$")
            list(APPEND requires "velmora-${CMAKE_MATCH_1} = ${PROJECT_VERSION}")
        elseif(dep MATCHES "^PkgConfig::(.+)$")
            get_property(pkg_modules GLOBAL PROPERTY VELMORA_PKG_MODULES_${CMAKE_MATCH_1})
            list(APPEND requires ${pkg_modules})
        elseif(dep STREQUAL "fmt::fmt")
            list(APPEND requires fmt)
        elseif(dep STREQUAL "spdlog::spdlog")
            list(APPEND requires spdlog)
        elseif(dep STREQUAL "Threads::Threads")
            list(APPEND libs -pthread)
        else()
            message(WARNING "velmora-${name}.pc: no pkg-config name known for ${dep}; add one "
                            "in cmake/VelmoraInstall.cmake")
        endif()
    endforeach()
    velmora_write_pc(velmora-${name}.pc "Velmora ${name}" "Velmora's ${name} module"
        "${requires}" "${cflags}" "${libs}")
    list(APPEND all_requires "velmora-${name} = ${PROJECT_VERSION}")
endforeach()
velmora_write_pc(velmora.pc "Velmora" "${PROJECT_DESCRIPTION}" "${all_requires}" "" "")

# The tool finds the libraries beside it (bin/../lib...), wherever the tree is installed
# or unpacked.
set_target_properties(velmora_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS velmora_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tool)
install(TARGETS velmora_sqlite_unicode LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/velmora
    COMPONENT Runtime)
install(FILES "${PROJECT_SOURCE_DIR}/tools/velmora/velmora.bash-completion"
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME velmora
    COMPONENT Tool)
