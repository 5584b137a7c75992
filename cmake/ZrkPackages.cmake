# Debian packages and the source archive; `./run packages` makes them. docs/packages.md tells what is in which.
set(CPACK_PACKAGE_NAME zrk)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "ZRKGraphComponents")
# An address that can't be anybody's, until there is one.
set(ZRK_MAINTAINER "ZRKGraphComponents developers <zrk@zrk.invalid>" CACHE STRING "Whom the packages name: Name <address>")
set(CPACK_PACKAGE_CONTACT "${ZRK_MAINTAINER}")
# CPack would put a summary of the whole above those of the packages.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# zrk_package(NAME SECTION DEPENDS TEXT): the package of the part with that name. The first line of TEXT is a summary.
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

# zrk_shared_package(NAME LIBRARY): what a package with a shared library tells of it. CPack itself would list libzrk twice, as it
# is there for two processors.
function(zrk_shared_package name library)
    string(TOUPPER "${name}" part)
    set(shlibs "${CMAKE_BINARY_DIR}/packaging/${name}/shlibs")
    file(WRITE "${shlibs}" "${library} ${PROJECT_VERSION_MAJOR} ${name} (= ${PROJECT_VERSION})\n")
    set(CPACK_DEBIAN_${part}_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/packages/triggers;${shlibs}" PARENT_SCOPE)
endfunction()

set(same "(= ${PROJECT_VERSION})")
# CPack puts the blank before each line of a description, and a point on empty ones.
set(about "ZRKGraphComponents makes solids and other fields over space from a graph of
components: signed distances, images and meshes, warps, periodic patterns, and
what combines them.

")
set(CPACK_COMPONENTS_ALL)
zrk_package(libzrk0 libs "" "fields over space from a node graph (shared library)
${about}This library reads graph documents and computes their fields, surfaces and
pictures. It holds code for x86-64-v3 and for x86-64-v4.")
zrk_shared_package(libzrk0 libzrk)
zrk_package(zrk science "libzrk0 ${same}" "fields over space from a node graph (command line)
${about}The program samples, slices, draws and measures what a graph document
describes, and writes volumes, pictures, and meshes for printers. Documentation
and examples come with it.")
zrk_package(libzrk-dev libdevel "libzrk0 ${same}, nlohmann-json3-dev, libexpected-dev"
    "fields over space from a node graph (development files)
${about}This package holds headers, static libraries, and what CMake and pkg-config
need to find them. The packages that it suggests are for static linking and
for panels.")
set(CPACK_DEBIAN_LIBZRK-DEV_PACKAGE_SUGGESTS
    "libfmt-dev, libspng-dev, zlib1g-dev, libjpeg-dev, libtiff-dev, libsleef-dev, qtbase5-dev")
if(ZRK_QT)
    zrk_package(libzrk-inspectors0 libs "libzrk0 ${same}" "fields over space from a node graph (panels)
${about}This library holds the panels in which properties of components are edited,
for programs with Qt Widgets.")
    zrk_shared_package(libzrk-inspectors0 libzrk-inspectors)
    string(APPEND CPACK_DEBIAN_LIBZRK-DEV_PACKAGE_DEPENDS ", libzrk-inspectors0 ${same}")
    zrk_package(zrk-workbench science "libzrk0 ${same}, libzrk-inspectors0 ${same}"
        "fields over space from a node graph (workbench)
${about}The workbench edits a graph document in a window, with its nodes and wires,
the panels of its components, and slices and solids that follow every change.")
endif()
if(ZRK_PYTHON)
    zrk_package(python3-zrk python "libzrk0 ${same}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy"
        "fields over space from a node graph (Python module)
${about}With this module components are Python classes that compute NumPy arrays;
volumes, surfaces, pictures and graph documents are made of them.")
endif()

# The source, as it lies there; it builds without git. Patterns are for whole paths.
string(REGEX REPLACE "([.+*?()|$])" "[\\1]" top "${PROJECT_SOURCE_DIR}")
set(CPACK_SOURCE_GENERATOR TGZ)
set(CPACK_SOURCE_PACKAGE_FILE_NAME "zrk-${PROJECT_VERSION}-source")
set(CPACK_SOURCE_IGNORE_FILES "^${top}/(build|out|fuzz-finds|[.]git|[.]cache)/" "^${top}/([.]git|compile_commands[.]json)$"
    "__pycache__" "[.]swp$" "[.]egg-info/")
include(CPack)

# `ctest --preset packages` tries what `--target package package_source` has made. Builds with tests make packages for the
# test.
enable_testing()
if(ZRK_TESTS)
    set(tried "${CMAKE_BINARY_DIR}/packages_tried" --make "${CMAKE_BINARY_DIR}")
    set(labels "packages;slow")
else()
    set(tried "${CPACK_PACKAGE_DIRECTORY}")
    set(labels packages)
endif()
add_test(NAME packages COMMAND Python3::Interpreter -B "${PROJECT_SOURCE_DIR}/tests/packages_test.py" ${tried})
set_tests_properties(packages PROPERTIES LABELS "${labels}" TIMEOUT 1200 SKIP_RETURN_CODE 77)
