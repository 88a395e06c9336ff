# Where things are installed, and what the build of a host asks: pkg-config files and a CMake
# package. All of them find the rest from where they are themselves, so an installed tree can be
# moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# A multiarch system keeps its 32-bit libraries under the i386 triplet.
set(PCSIM_INSTALL_LIBDIR lib/i386-linux-gnu CACHE STRING "Where 32-bit libraries are installed")
set(PCSIM_INSTALL_PKGCONFIGDIR ${PCSIM_INSTALL_LIBDIR}/pkgconfig
    CACHE STRING "Where the files for pkg-config are installed")
set(PCSIM_INSTALL_CMAKEDIR lib/cmake/pcsim)  # find_package does not look into foreign triplets

file(RELATIVE_PATH PCSIM_PKGCONFIG_TO_PREFIX /${PCSIM_INSTALL_PKGCONFIGDIR} /)
file(RELATIVE_PATH PCSIM_CMAKE_TO_PREFIX /${PCSIM_INSTALL_CMAKEDIR} /)
file(RELATIVE_PATH PCSIM_BIN_TO_LIBRARIES /${CMAKE_INSTALL_BINDIR} /${PCSIM_INSTALL_LIBDIR})
string(REGEX REPLACE "/$" "" PCSIM_PKGCONFIG_TO_PREFIX ${PCSIM_PKGCONFIG_TO_PREFIX})
string(REGEX REPLACE "/$" "" PCSIM_CMAKE_TO_PREFIX ${PCSIM_CMAKE_TO_PREFIX})

foreach(name pcsimulation pcsimulation-link)
    configure_file(cmake/${name}.pc.in ${CMAKE_BINARY_DIR}/${name}.pc @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${name}.pc DESTINATION ${PCSIM_INSTALL_PKGCONFIGDIR})
endforeach()

configure_file(cmake/pcsimConfig.cmake.in ${CMAKE_BINARY_DIR}/pcsimConfig.cmake @ONLY)
# A project without -m32 of its own has another word size than the library until it links it.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/pcsimConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES ${CMAKE_BINARY_DIR}/pcsimConfig.cmake ${CMAKE_BINARY_DIR}/pcsimConfigVersion.cmake
        DESTINATION ${PCSIM_INSTALL_CMAKEDIR})

# Everything that `cmake --install` needs, and nothing else. Tests and benchmarks are not installed.
add_custom_target(installable DEPENDS pcsim pcsimctl pcsim-nics pcsimulation pcsim-mii
                  pcsim-probe pcsim-probe-library)
