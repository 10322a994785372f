# The Debian packages, for "cpack -G DEB": the program, and its debug symbols. Packaging/build-deb makes them.
set(LUMICRATE_MAINTAINER "Lumicrate developers <packages@lumicrate.example>" CACHE STRING
    "The maintainer of the Debian package, as in debian/changelog")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumicrate)
set(CPACK_PACKAGE_CONTACT "${LUMICRATE_MAINTAINER}")
set(CPACK_PACKAGE_HOMEPAGE_URL "${LUMICRATE_WEBSITE}")
set(CPACK_VERBATIM_VARIABLES ON)
# The files of the package are those of "cmake --install", under the prefix with which it was configured.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ
                                                WORLD_EXECUTE)
# Programs are stripped when their symbols are put into the other package.
set(CPACK_STRIP_FILES OFF)

set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${LUMICRATE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded or called by the program only where they are there: players, sound and cameras, the portal, xdg-open, the bus.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "dbus-user-session | dbus-x11, libmpv2, pipewire, pipewire-pulse, qt6-translations-l10n, wireplumber, xdg-desktop-portal, xdg-utils")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "recorder of the screen, of windows, of cameras and of sound")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Lumicrate records a screen, a window, an area, a camera or sound alone, with
system audio and microphone mixed or as separate tracks, and with the picture
of a camera in a bubble over the screen. Recordings are watched, trimmed,
mixed, converted and turned into animated GIFs.
.
Only what changes on the screen is read, converted and encoded, so that a
recording costs next to nothing while nothing moves. It is a desktop
application with global shortcuts for X11 and Wayland, and a command line.")
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_SOURCE_DIR}/debian/finish-files.cmake")
include(CPack)
