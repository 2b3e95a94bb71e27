# The Debian package: `cpack -G DEB` in a build configured with
# -DQUORIN_PACKAGE=ON (scripts/package does it all). The executables' install
# rules are in the top-level CMakeLists.txt; here are the files around them
# and the package's own settings.

set(QUORIN_DEB_RELEASE 1)
set(QUORIN_DEB_VERSION "${PROJECT_VERSION}-${QUORIN_DEB_RELEASE}")
set(QUORIN_MAINTAINER "Quorin Terminal developers <dev@quorin.example>"
    CACHE STRING "Maintainer field of the Debian package")
set(pkgdir ${CMAKE_CURRENT_SOURCE_DIR}/packaging)
set(gzdir ${CMAKE_CURRENT_BINARY_DIR}/packaging)

# Debian wants manual pages and the changelog compressed, with no name or time
# stamp inside, so that the same sources give the same package.
configure_file(${pkgdir}/changelog.Debian.in ${gzdir}/changelog.Debian.src @ONLY)
set(gzipped)
function(quorin_gzip src out)
  add_custom_command(OUTPUT ${out}.gz
    COMMAND ${CMAKE_COMMAND} -E copy ${src} ${out}
    COMMAND gzip -9nf ${out}
    DEPENDS ${src}
    VERBATIM)
  set(gzipped ${gzipped} ${out}.gz PARENT_SCOPE)
endfunction()
foreach(cmd quorin-terminal quorin-cli quorin-sim)
  quorin_gzip(${pkgdir}/man/${cmd}.1 ${gzdir}/man/${cmd}.1)
endforeach()
quorin_gzip(${gzdir}/changelog.Debian.src ${gzdir}/changelog.Debian)
add_custom_target(quorin_package_files ALL DEPENDS ${gzipped})

foreach(cmd quorin-terminal quorin-cli quorin-sim)
  install(FILES ${gzdir}/man/${cmd}.1.gz DESTINATION share/man/man1)
  # After CPACK_STRIP_FILES, as Debian's own packages are: without the
  # compiler's notes either.
  install(CODE "execute_process(COMMAND ${CMAKE_STRIP} --remove-section=.comment --remove-section=.note
                                        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/bin/${cmd}\")")
endforeach()
install(FILES ${pkgdir}/quorin-terminal.desktop DESTINATION share/applications)
install(FILES ${pkgdir}/quorin-terminal.svg DESTINATION share/icons/hicolor/scalable/apps)
install(FILES ${pkgdir}/copyright ${gzdir}/changelog.Debian.gz DESTINATION share/doc/quorin-terminal)
install(FILES ${pkgdir}/lintian-overrides DESTINATION share/lintian/overrides RENAME quorin-terminal)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorin-terminal)
set(CPACK_PACKAGE_VENDOR "Quorin Terminal developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "configure and monitor flow transmitters over a serial line")
set(CPACK_PACKAGE_DESCRIPTION
"Quorin Terminal is a desktop program for one family of industrial flow
transmitters on an RS232 line or a two-wire RS485 bus, directly or through a
serial device server. It shows the live flow display and the totalizer, reads
the configuration, changes single parameters with read-back verification,
saves the configuration table to a file and writes it back into a device,
downloads the flow memory log, rescales and resets the totalizer.
.
The package holds the window (quorin-terminal), the command-line tool for
scripts (quorin-cli) and a simulated transmitter (quorin-sim) that lets every
feature be tried without hardware.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QUORIN_DEB_RELEASE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QUORIN_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries come from dpkg-shlibdeps; the window also needs Qt's platform
# plugins, which it loads at run time and so does not link.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

include(CPack)
