# Packages by cpack: for Debian, the programs as "tarnel", and what clients in C++ need as "libtarnelcore-dev".
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tarnel)
set(CPACK_PACKAGE_VENDOR "Tarnel maintainers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "Tarnel maintainers <maintainers@tarnel.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/CompressManual.cmake)
set(CPACK_STRIP_FILES ON)
set(CPACK_SET_DESTDIR ON) # so that what is installed sees the prefix that it will have
set(CPACK_INSTALL_PREFIX /usr)
# Folders that others may read, whatever the umask of the one who builds.
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# Each package brings its own papers, which are of no use outside of packages.
find_program(TARNEL_GZIP gzip)
if(TARNEL_GZIP)
    set(changelog ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
    add_custom_command(OUTPUT ${changelog}
        COMMAND ${TARNEL_GZIP} -9nc ${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog > ${changelog}
        DEPENDS debian/changelog
        VERBATIM)
    add_custom_target(package-papers ALL DEPENDS ${changelog})
    foreach(package IN ITEMS tarnel libtarnelcore-dev)
        install(FILES ${changelog} debian/copyright DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package}
            COMPONENT ${package}-papers EXCLUDE_FROM_ALL)
    endforeach()
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_COMPONENTS_ALL programs tarnel-papers development libtarnelcore-dev-papers)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME tarnel)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS tmux)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/prerm
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "one queue of the coding agents that wait for you
Watches the coding agents that run in terminal panes, and tells which of them
needs you, since when, and for what: a question, a permission, a plan that is
ready, an error, a finished turn.
.
The package brings the daemon, which each user's session starts, its command
line, and a program that lets it see the panes of a tmux server.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtarnelcore-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libsimdjson-dev, libutf8proc-dev, libpcre2-dev, pkg-config")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "tarnel, cmake")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library for clients of the Tarnel daemon
Headers, a static library and a CMake package for programs in C++ that ask
the Tarnel daemon which coding agents wait for the user, subscribe to its
changes, and answer them.")

include(CPack)
cpack_add_component_group(programs)
cpack_add_component_group(development)
cpack_add_component(programs GROUP programs)
cpack_add_component(tarnel-papers GROUP programs)
cpack_add_component(development GROUP development)
cpack_add_component(libtarnelcore-dev-papers GROUP development)
