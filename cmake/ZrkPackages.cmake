# Debian packages and the source archive; `./run packages` makes them. docs/packages.md tells what is in which.
set(CPACK_PACKAGE_NAME zrk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "ZRKGraphComponents")
set(CPACK_PACKAGE_CONTACT "ZRKGraphComponents developers <zrk@localhost.localdomain>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "fields over space, made from a node graph")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# zrk_package(NAME SECTION DEPENDS TEXT): the package of the part with that name.
function(zrk_package name section depends text)
    string(TOUPPER "${name}" part)
    set(CPACK_DEBIAN_${part}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${part}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_DEBIAN_${part}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${part}_DESCRIPTION "${text}" PARENT_SCOPE)
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${name} PARENT_SCOPE)
    # What every package of Debian says of itself.
    set(folder "${CMAKE_BINARY_DIR}/packaging/${name}")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/packages/changelog.in" "${folder}/changelog.Debian" @ONLY)
    execute_process(COMMAND gzip -9nf "${folder}/changelog.Debian" COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${folder}/changelog.Debian.gz" RENAME changelog.gz DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}"
        COMPONENT ${name})
    # No licence has been chosen yet; LICENSE, once there is one, takes the place of this text.
    set(licence "${PROJECT_SOURCE_DIR}/cmake/packages/copyright")
    if(EXISTS "${PROJECT_SOURCE_DIR}/LICENSE")
        set(licence "${PROJECT_SOURCE_DIR}/LICENSE")
    endif()
    install(FILES "${licence}" RENAME copyright DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${name}" COMPONENT ${name})
endfunction()

set(same "(= ${PROJECT_VERSION})")
set(CPACK_COMPONENTS_ALL)
zrk_package(libzrk0 libs "" "fields over space, made from a node graph: shared library
 Signed distances, warps, patterns and the operators that combine them, with an
 engine that evaluates chains of them over millions of positions. The processor's
 newest instructions are chosen when a program starts.")
set(CPACK_DEBIAN_LIBZRK0_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/packages/triggers")
zrk_package(zrk science "libzrk0 ${same}" "fields over space, made from a node graph: command line
 Samples, slices, draws and measures the solids that a graph document describes,
 and writes them as volumes, pictures and meshes for printers. With documentation
 and examples.")
zrk_package(libzrk-dev libdevel "libzrk0 ${same}, nlohmann-json3-dev, libexpected-dev"
    "fields over space, made from a node graph: development files
 Headers, static libraries, and what CMake and pkg-config need to find them.")
set(CPACK_DEBIAN_LIBZRK-DEV_PACKAGE_SUGGESTS
    "libfmt-dev, libspng-dev, zlib1g-dev, libjpeg-dev, libtiff-dev, libsleef-dev, qtbase5-dev")
if(ZRK_QT)
    zrk_package(libzrk-inspectors0 libs "libzrk0 ${same}" "fields over space, made from a node graph: panels
 The panels of the components, for programs with Qt Widgets.")
    set(CPACK_DEBIAN_LIBZRK-INSPECTORS0_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/packages/triggers")
    string(APPEND CPACK_DEBIAN_LIBZRK-DEV_PACKAGE_DEPENDS ", libzrk-inspectors0 ${same}")
    zrk_package(zrk-workbench science "libzrk0 ${same}, libzrk-inspectors0 ${same}"
        "fields over space, made from a node graph: workbench
 Shows a graph document in a window, with the panels of its components and a
 slice that follows every change.")
endif()
if(ZRK_PYTHON)
    zrk_package(python3-zrk python "libzrk0 ${same}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy"
        "fields over space, made from a node graph: Python module
 Components as Python classes, evaluated over NumPy arrays.")
endif()

# The source, as it lies there; it builds without git.
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME "zrk-${PROJECT_VERSION}-source")
set(CPACK_SOURCE_IGNORE_FILES "/build/" "/out/" "/fuzz-finds/" "/\\\\.git" "/\\\\.cache/" "__pycache__" "\\\\.swp$" "\\\\.egg-info/"
    "compile_commands.json")
include(CPack)
