# SPDX-License-Identifier: MIT

# What cmake --install puts where, and the names by which other projects link to it. A project that
# includes this one installs it as well, unless it does so with EXCLUDE_FROM_ALL.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The bundle and the modules lie in a folder beside the libraries, which search it by this name,
# relative to themselves. So an installation may be moved as a whole.
set(PRIVATE_FOLDER tavro)
set(bundle_folder ${CMAKE_INSTALL_LIBDIR}/${PRIVATE_FOLDER})
set(header_folder ${CMAKE_INSTALL_INCLUDEDIR}/tavro)
set(platform_header_folder ${header_folder}/platform)  # apart: the real platform has such headers too

# Other projects link to TARGET as TavroCore::NAME. Its headers are below BUILT, or INSTALLED.
function(publish target name built installed)
  add_library(TavroCore::${name} ALIAS ${target})
  target_include_directories(
    ${target} INTERFACE $<BUILD_INTERFACE:${built}> $<INSTALL_INTERFACE:${installed}>)
  target_compile_features(${target} INTERFACE cxx_std_20)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL SHARED_LIBRARY)
    # Bundles are linked to this name, whoever provides the library, so it has no number:
    # docs/stability.md.
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN")
  endif()
  install(TARGETS ${target} EXPORT TavroCore
          LIBRARY COMPONENT runtime)
endfunction()

# Modules are loaded by name, by a library or a program of COMPONENT.
function(install_modules component)
  set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  install(TARGETS ${ARGN} LIBRARY DESTINATION ${bundle_folder} COMPONENT ${component})
endfunction()

function(install_program target)
  file(RELATIVE_PATH libraries ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target} COMPONENT player)
endfunction()

# The man page is made from --help, and from share/TARGET.h2m if there is one, where help2man is
# there to do so.
function(install_man_page target summary)
  find_program(HELP2MAN help2man)
  if(NOT HELP2MAN OR CMAKE_CROSSCOMPILING OR SANITIZE)
    return()
  endif()
  set(make_man ${PROJECT_SOURCE_DIR}/tools/make-man)
  file(GLOB additions CONFIGURE_DEPENDS share/${target}.h2m)
  set(page ${target}.1.gz)
  add_custom_command(
    OUTPUT ${page}
    COMMAND ${make_man} $<TARGET_FILE:${target}> ${summary} ${page} ${additions}
    DEPENDS ${target} ${make_man} ${additions}
    VERBATIM)
  add_custom_target(${target}-man-page ALL DEPENDS ${page})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${page}
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT player)
endfunction()

# The licence, and an example that is a project of its own.
function(install_documents)
  install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
  install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
endfunction()

# For find_package(TavroCore), and for pkg-config.
function(install_package_files)
  set(cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/TavroCore)
  configure_package_config_file(
    cmake/TavroCoreConfig.cmake.in TavroCoreConfig.cmake
    INSTALL_DESTINATION ${cmake_folder} PATH_VARS bundle_folder)
  write_basic_package_version_file(TavroCoreConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(EXPORT TavroCore NAMESPACE TavroCore:: FILE TavroCoreTargets.cmake
          DESTINATION ${cmake_folder} COMPONENT development)
  install(FILES ${PROJECT_BINARY_DIR}/TavroCoreConfig.cmake
                ${PROJECT_BINARY_DIR}/TavroCoreConfigVersion.cmake
          DESTINATION ${cmake_folder} COMPONENT development)

  set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
             BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder}
             OUTPUT_VARIABLE prefix_from_pkgconfig)
  foreach(name tavro-time tavro-core core-audio)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${name}.pc
            DESTINATION ${pkgconfig_folder} COMPONENT development)
  endforeach()
endfunction()
