# The client side of Wayland protocols, as wayland-scanner generates it.
pkg_check_modules(WAYLAND_CLIENT REQUIRED IMPORTED_TARGET wayland-client)
pkg_get_variable(WAYLAND_SCANNER wayland-scanner wayland_scanner)
pkg_get_variable(WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)

# lumicrate_wayland_protocols(NAME FILES…)
# Adds the static library NAME. A file FOLDER/NAME.xml, absolute or relative to the folder of wayland-protocols, gives
# the header "NAME-client.h".
function(lumicrate_wayland_protocols library)
  set(generated)
  foreach(file ${ARGN})
    get_filename_component(name "${file}" NAME_WE)
    get_filename_component(file "${file}" ABSOLUTE BASE_DIR "${WAYLAND_PROTOCOLS}")
    set(base "${CMAKE_CURRENT_BINARY_DIR}/${library}/${name}")
    file(MAKE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}/${library}")
    add_custom_command(OUTPUT "${base}-client.h" DEPENDS "${file}" VERBATIM
                       COMMAND "${WAYLAND_SCANNER}" client-header "${file}" "${base}-client.h")
    add_custom_command(OUTPUT "${base}.c" DEPENDS "${file}" VERBATIM
                       COMMAND "${WAYLAND_SCANNER}" private-code "${file}" "${base}.c")
    list(APPEND generated "${base}-client.h" "${base}.c")
  endforeach()
  add_library(${library} STATIC ${generated})
  target_include_directories(${library} SYSTEM PUBLIC "${CMAKE_CURRENT_BINARY_DIR}/${library}")
  target_link_libraries(${library} PUBLIC PkgConfig::WAYLAND_CLIENT)
endfunction()
