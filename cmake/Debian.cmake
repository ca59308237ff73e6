# SPDX-License-Identifier: MIT

# Three Debian packages, which cpack makes (./dev package): the player, the libraries with the bundle
# and all modules, and what a host is built with. Included for the preset `package`, whose
# installation is a Debian machine's.
set(runtime_package libtavro-core0)
set(development_package libtavro-core-dev)
set(player_package tavro-play)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME core-audio-output)
set(CPACK_PACKAGE_CONTACT "Core Audio Output authors <authors@core-audio-output.invalid>" CACHE STRING
    "Name and address of who makes the packages")
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/DebianRecommends.cmake)
set(CPACK_BUILT ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

# The loader's cache is renewed when the libraries are installed.
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/triggers)

# The changelog has the time that the environment names, so that the same sources give the same
# packages.
string(TIMESTAMP time "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(CONFIGURE OUTPUT changelog.Debian CONTENT
"core-audio-output (@PROJECT_VERSION@-@CPACK_DEBIAN_PACKAGE_RELEASE@) unstable; urgency=medium

  * Made from the project's sources; see CHANGELOG.md there.

 -- @CPACK_PACKAGE_CONTACT@  @time@
" @ONLY)
execute_process(COMMAND gzip -9nf changelog.Debian
                WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} COMMAND_ERROR_IS_FATAL ANY)

# package(COMPONENT SECTION SUMMARY DESCRIPTION)
function(package component section summary description)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
  set(documents ${CMAKE_INSTALL_DATAROOTDIR}/doc/${${component}_package})
  install(FILES LICENSE RENAME copyright DESTINATION ${documents} COMPONENT ${component})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
          DESTINATION ${documents} COMPONENT ${component})
endfunction()

package(runtime libs "media-graph runtime and audio output plug-in (libraries)"
"Host runtime of the media-graph framework Tavro_Core, the plug-in that
renders PCM and AC-3, and the audio platform's C interface on sound servers,
ALSA and files.")
package(development libdevel "media-graph runtime and audio output plug-in (development)"
"Headers, CMake and pkg-config files for hosts of the media-graph framework
Tavro_Core and for its plug-ins, with an example host.")
package(player sound "command-line audio player in exact time"
"Plays audio files without a gap on a sound server, on ALSA or into a file,
passes AC-3 through to a receiver, and reports what happened to every buffer.
WAV and FLAC need nothing else; other formats need the recommended
libraries. \"tavro-play check\" judges renderer plug-ins.")

set(CPACK_COMPONENTS_ALL runtime development player)
set(CPACK_COMPONENT_PLAYER_DEPENDS runtime)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
include(CPack)
