# What a host needs to be built against the plug-in: library, public headers, pkg-config file and
# CMake package; for people the documents, schemas and examples. Tools install themselves.
include(CMakePackageConfigHelpers)

install(TARGETS corvenna EXPORT corvennaTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
foreach(header
        base/export.h base/xml_document.h
        plugin/plugin.h plugin/instances.h config/instances.h
        config/configuration_document.h config/sys_set.h config/sn_set.h config/channel_set.h
        config/forward_config.h
        packfile/data_files.h packfile/packfile.h packfile/records.h http/frame.h http/http.h http/https.h
        message/records.h message/pack_memory.h message/parse_memory.h log/level.h
        log/log.h)
    get_filename_component(folder ${header} DIRECTORY)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/corvenna/${folder}
        COMPONENT headers)
endforeach()

# Found from where the file lies, so that `cmake --install --prefix` may move the whole tree.
file(RELATIVE_PATH pc_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/corvenna.pc.in corvenna.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/corvenna.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/corvenna)
install(EXPORT corvennaTargets NAMESPACE corvenna:: DESTINATION ${package_dir})
configure_package_config_file(cmake/corvennaConfig.cmake.in corvennaConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(corvennaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/corvennaConfig.cmake
              ${PROJECT_BINARY_DIR}/corvennaConfigVersion.cmake DESTINATION ${package_dir})

install(DIRECTORY schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/corvenna)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES README.md CHANGELOG.md SECURITY.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
