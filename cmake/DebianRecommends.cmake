# SPDX-License-Identifier: MIT

# Read by cpack. The libraries behind the player's decoders are recommended, since it plays WAV and
# FLAC without them; those that the programs themselves are linked to are required.
set(folder ${CPACK_PACKAGE_DIRECTORY}/shlibdeps)
file(WRITE ${folder}/debian/control "")
execute_process(
  COMMAND dpkg-shlibdeps -O --ignore-missing-info
          -dDepends -e ${CPACK_BUILT}/tavro-play -e ${CPACK_BUILT}/tavro-play-check
          -dRecommends -e ${CPACK_BUILT}/libtavro_play_decoders.so
  WORKING_DIRECTORY ${folder} OUTPUT_VARIABLE found ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
file(REMOVE_RECURSE ${folder})
string(REGEX MATCH "shlibs:Depends=([^\n]*)" line "${found}")
set(CPACK_DEBIAN_PLAYER_PACKAGE_DEPENDS "${CMAKE_MATCH_1}")
string(REGEX MATCH "shlibs:Recommends=([^\n]*)" line "${found}")
set(CPACK_DEBIAN_PLAYER_PACKAGE_RECOMMENDS "${CMAKE_MATCH_1}")
set(CPACK_DEBIAN_PLAYER_PACKAGE_SHLIBDEPS OFF)
