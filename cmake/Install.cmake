# `cmake --install` and `cpack`. The library is a plug-in, and on Linux it brings its simulated phone, whose file names are the
# phone's: all of that stays in a folder of its own, with the host program, which looks for the library beside itself.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DOCDIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/huevance)
set(HUEVANCE_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/huevance)
set(HUEVANCE_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/huevance)

install(TARGETS Huevance LIBRARY DESTINATION ${HUEVANCE_PLUGIN_DIR})
if(NOT ANDROID)
  install(TARGETS sim_log sim_opencl sim_nativewindow sim_gl sim_egl sim_gles LIBRARY DESTINATION ${HUEVANCE_PLUGIN_DIR}/sim)
  install(DIRECTORY sim/include/android DESTINATION ${HUEVANCE_HEADER_DIR}/sim)  # hardware buffers, for hosts of OGL
endif()
# What jni/HuevanceAPI.h includes, in its folders; hosts write #include "jni/HuevanceAPI.h" as within the tree.
install(FILES jni/HuevanceAPI.h jni/HuevanceTypes.h DESTINATION ${HUEVANCE_HEADER_DIR}/jni)
install(FILES jni/algocommon/Export.h jni/algocommon/ImageTypes.h DESTINATION ${HUEVANCE_HEADER_DIR}/jni/algocommon)

# find_package(Huevance) and pkg-config huevance: the same answers. Both work wherever the tree was installed or moved to.
configure_package_config_file(cmake/package/HuevanceConfig.cmake.in ${CMAKE_BINARY_DIR}/package/HuevanceConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Huevance
  PATH_VARS HUEVANCE_PLUGIN_DIR HUEVANCE_HEADER_DIR NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/package/HuevanceConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/package/HuevanceConfig.cmake ${CMAKE_BINARY_DIR}/package/HuevanceConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Huevance)
file(RELATIVE_PATH HUEVANCE_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/package/huevance.pc.in ${CMAKE_BINARY_DIR}/package/huevance.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/package/huevance.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs PATTERN man EXCLUDE)

if(TARGET huevance_tool)
  install(TARGETS huevance_tool RUNTIME DESTINATION ${HUEVANCE_PLUGIN_DIR})
  file(RELATIVE_PATH to_tool /${CMAKE_INSTALL_BINDIR} /${HUEVANCE_PLUGIN_DIR}/huevance)
  file(CREATE_LINK ${to_tool} ${CMAKE_BINARY_DIR}/package/huevance SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/package/huevance DESTINATION ${CMAKE_INSTALL_BINDIR})
  install(FILES tools/completion/huevance.bash RENAME huevance
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

  find_program(HUEVANCE_SCDOC scdoc DOC "makes the manual pages")
  mark_as_advanced(HUEVANCE_SCDOC)
  if(HUEVANCE_SCDOC)
    set(pages "")
    foreach(page huevance.1 huevance-tuning.5)
      set(source ${CMAKE_SOURCE_DIR}/docs/man/${page}.scd)
      set(output ${CMAKE_BINARY_DIR}/man/${page})
      file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/man)
      add_custom_command(OUTPUT ${output} COMMAND sh -c "${HUEVANCE_SCDOC} <'${source}' >'${output}'"
        DEPENDS ${source} VERBATIM)
      list(APPEND pages ${output})
      string(REGEX MATCH "[0-9]$" section ${page})
      install(FILES ${output} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
    endforeach()
    add_custom_target(manual ALL DEPENDS ${pages})
  else()
    message(WARNING "The manual pages are left out: there is no scdoc (`scripts/setup.sh build`).")
  endif()
endif()

# A Debian package of the build as it stands. What it needs is read from its files; drivers are the user's choice.
if(NOT ANDROID)
  set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGE_NAME huevance)
  set(CPACK_PACKAGE_CONTACT "The libHuevance developers <huevance@localhost>")
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "camera colour enhancement, with its workbench and a simulated phone")
  set(CPACK_PACKAGE_DESCRIPTION "libHuevance improves the contrast, tone, colour and skin of a camera's pictures and previews. This
package runs it on a computer: the library, the headers of its plug-in interface, and huevance, which enhances photographs.")
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_STRIP_FILES ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/sim)
  set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "pocl-opencl-icd, ocl-icd-libopencl1, libegl1, libgles2, libegl-mesa0, libgl1-mesa-dri")
  include(CPack)
endif()
