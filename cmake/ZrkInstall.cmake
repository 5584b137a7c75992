# What `cmake --install` puts where, and the packages made of it. docs/embedding.md and docs/packages.md are for users.
#
# Parts that can be installed by themselves (--component): libzrk0 and libzrk-inspectors0 (the shared
# libraries), zrk, zrk-workbench, python3-zrk and libzrk-dev (headers, static libraries, files for CMake and pkg-config).

include(CMakePackageConfigHelpers)

# Programs find the libraries as they lie to one another, wherever the tree is. Packages of a system switch that off with
# CMAKE_SKIP_INSTALL_RPATH. In the build tree the same place is named: CMake would keep room for it by empty names, which the
# loader takes for the current folder, whoever has put libraries there.
function(zrk_find_libraries place)
    set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "${place}" BUILD_WITH_INSTALL_RPATH ON)
endfunction()
file(RELATIVE_PATH library_from_program "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set(development libzrk-dev)
set(config_folder "${CMAKE_INSTALL_LIBDIR}/cmake/zrk")

install(TARGETS zrk RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT zrk)
set(programs zrk)
if(ZRK_QT)
    install(TARGETS zrk-workbench RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT zrk-workbench)
    list(APPEND programs zrk-workbench)
endif()
zrk_find_libraries("$ORIGIN/${library_from_program}" ${programs})

# zrk_install_libraries(KIND PART TARGET=NAME...): they are zrk::NAME once find_package(zrk) has read zrk-KIND-targets.cmake;
# the PART that is installed has those that are shared.
function(zrk_install_libraries kind part)
    foreach(pair ${ARGN})
        string(REPLACE "=" ";" pair "${pair}")
        list(GET pair 0 target)
        list(GET pair 1 name)
        set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
        zrk_find_libraries("$ORIGIN" ${target})
        target_include_directories(${target} INTERFACE "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
        target_compile_features(${target} PUBLIC cxx_std_20)
        # The same bits in formulas of others as in ours.
        target_compile_options(${target} INTERFACE "$<INSTALL_INTERFACE:-ffp-contract=off>")
        install(TARGETS ${target} EXPORT zrk-${kind}
            LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${part} NAMELINK_COMPONENT ${development}
            ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT ${development})
    endforeach()
    install(EXPORT zrk-${kind} FILE zrk-${kind}-targets.cmake NAMESPACE zrk:: DESTINATION "${config_folder}"
        COMPONENT ${development})
endfunction()

# Whoever links the components has them all registered, also without a call of ours. The name is that of
# zrkmodel::ZRKGraphComponentsInit::initializeModule(); the panels' is that of its counterpart in zrkui.
set(keep_components "-Wl,--undefined=_ZN8zrkmodel22ZRKGraphComponentsInit16initializeModuleEv")
set(keep_panels "-Wl,--undefined=_ZN5zrkui22ZRKGraphInspectorsInit16initializeModuleEv")
target_link_options(ZRKGraphComponents INTERFACE "$<INSTALL_INTERFACE:${keep_components}>")
zrk_install_libraries(static libzrk0 zrk_core=static_core zrk_formats=static_formats ZRKGraphModel=static_model
    ZRKGraphComponents=static_components zrkhost=static_host)
set(installed_components core model components host)
if(ZRK_QT)
    target_link_options(ZRKGraphInspectors INTERFACE "$<INSTALL_INTERFACE:${keep_panels}>")
    zrk_install_libraries(static-inspectors libzrk-inspectors0 ZRKGraphInspectors=static_inspectors)
    list(APPEND installed_components inspectors)
endif()
# Builds with tests have the shared library too, and try it.
if(TARGET zrk_shared)
    zrk_install_libraries(shared libzrk0 zrk_shared=shared)
    if(ZRK_QT)
        target_link_options(zrk_inspectors_shared INTERFACE "$<INSTALL_INTERFACE:${keep_panels}>")
        zrk_install_libraries(shared-inspectors libzrk-inspectors0 zrk_inspectors_shared=shared_inspectors)
    endif()
endif()
if(TARGET zrk_shared_v4)
    # The loader looks here first where the processor has what it takes.
    install(TARGETS zrk_shared_v4 LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/glibc-hwcaps/x86-64-v4"
        COMPONENT libzrk0 NAMELINK_SKIP)
endif()
if(TARGET zrk_vdb)
    zrk_find_libraries("" zrk_vdb)
    install(TARGETS zrk_vdb LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/zrk" COMPONENT libzrk0)
endif()
if(TARGET zrk_mpi)
    zrk_find_libraries("" zrk_mpi)
    install(TARGETS zrk_mpi LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/zrk" COMPONENT zrk)
endif()

# Headers, and what finds the libraries.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
install(CODE "execute_process(COMMAND \"${Python3_EXECUTABLE}\" -B \"${PROJECT_SOURCE_DIR}/tools/install-headers\"
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_INCLUDEDIR}\" ${PROJECT_VERSION} ${installed_components}
    COMMAND_ERROR_IS_FATAL ANY)" COMPONENT ${development})
set(ZRK_STATIC_PACKAGES fmt ZLIB)
set(ZRK_STATIC_PC fmt zlib spng)
foreach(kind JPEG TIFF)
    if(TARGET ${kind}::${kind})
        list(APPEND ZRK_STATIC_PACKAGES ${kind})
    endif()
endforeach()
if(TARGET JPEG::JPEG)
    list(APPEND ZRK_STATIC_PC libjpeg)
endif()
if(TARGET TIFF::TIFF)
    list(APPEND ZRK_STATIC_PC libtiff-4)
endif()
if(ZRK_SIMD)
    list(APPEND ZRK_STATIC_PC sleef)
endif()
list(JOIN ZRK_STATIC_PC " " ZRK_STATIC_PC)
list(JOIN ZRK_STATIC_PACKAGES " " ZRK_STATIC_PACKAGES)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/zrk-config.cmake.in" "${CMAKE_BINARY_DIR}/zrk-config.cmake"
    INSTALL_DESTINATION "${config_folder}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/zrk-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/zrk-config.cmake" "${CMAKE_BINARY_DIR}/zrk-config-version.cmake"
    DESTINATION "${config_folder}" COMPONENT ${development})
file(RELATIVE_PATH prefix_from_pc "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
foreach(kind shared static)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/zrk-${kind}.pc.in" "${CMAKE_BINARY_DIR}/zrk-${kind}.pc" @ONLY)
endforeach()
if(TARGET zrk_shared)
    install(FILES "${CMAKE_BINARY_DIR}/zrk-shared.pc" RENAME zrk.pc DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
        COMPONENT ${development})
endif()
install(FILES "${CMAKE_BINARY_DIR}/zrk-static.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT ${development})

if(ZRK_PYTHON)
    set(ZRK_PYTHON_INSTALL_DIR lib/python3/dist-packages CACHE STRING "Where the Python module goes, below the prefix")
    file(RELATIVE_PATH library_from_module "${CMAKE_INSTALL_PREFIX}/${ZRK_PYTHON_INSTALL_DIR}/zrk" "${CMAKE_INSTALL_FULL_LIBDIR}")
    zrk_find_libraries("$ORIGIN/${library_from_module}" _zrk)
    install(TARGETS _zrk LIBRARY DESTINATION "${ZRK_PYTHON_INSTALL_DIR}/zrk" COMPONENT python3-zrk)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/python/zrk/" DESTINATION "${ZRK_PYTHON_INSTALL_DIR}/zrk" COMPONENT python3-zrk
        FILES_MATCHING PATTERN "*.py" PATTERN "*.pyi" PATTERN "py.typed" PATTERN "__pycache__" EXCLUDE)
endif()

# Documentation, manual pages and completions.
set(documentation "${CMAKE_INSTALL_DATADIR}/doc/zrk")
install(FILES README.md CHANGELOG.md DESTINATION "${documentation}" COMPONENT zrk)
install(DIRECTORY docs examples DESTINATION "${documentation}" COMPONENT zrk PATTERN ".gitignore" EXCLUDE)
set(texts "${CMAKE_BINARY_DIR}/install_program_texts.cmake")
configure_file("${PROJECT_SOURCE_DIR}/cmake/install_program_texts.cmake.in" "${texts}.in" @ONLY)
file(GENERATE OUTPUT "${texts}" INPUT "${texts}.in")
install(SCRIPT "${texts}" COMPONENT zrk)
if(ZRK_QT)
    set(page "${CMAKE_BINARY_DIR}/zrk-workbench.1")
    configure_file("${PROJECT_SOURCE_DIR}/apps/workbench/zrk-workbench.1.in" "${page}" @ONLY)
    execute_process(COMMAND gzip -9nkf "${page}" COMMAND_ERROR_IS_FATAL ANY)
    install(FILES "${page}.gz" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT zrk-workbench)
    # The first start shows one of the examples, and all with their pictures.
    install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DATADIR}/zrk" COMPONENT zrk-workbench PATTERN ".gitignore" EXCLUDE)
    install(DIRECTORY docs/pictures/gallery DESTINATION "${CMAKE_INSTALL_DATADIR}/zrk/docs/pictures" COMPONENT zrk-workbench)
endif()

if(TARGET zrk_shared)
    include(ZrkPackages)
endif()
