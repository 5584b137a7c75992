# The shared library libzrk.so: core, formats, model, components and host in one, of the same objects as the static
# libraries. ZRK_HOST is what programs link: the shared library with BUILD_SHARED_LIBS, else the static ones.
set(ZRK_HOST zrkhost)

# zrk_shared_library(TARGET OUTPUT_NAME): what all shared libraries have.
function(zrk_shared_library target name)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${name} VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR} LIBRARY_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}"
        LINK_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.map" LINKER_LANGUAGE CXX)
    target_link_options(${target} PRIVATE "-Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map"
        -Wl,--no-undefined)
endfunction()

if(ZRK_SANITIZE OR NOT (BUILD_SHARED_LIBS OR ZRK_TESTS))
    return()
endif()

# zrk_shared_from(TARGET SUFFIX): the library from the objects of the targets with that suffix.
function(zrk_shared_from target suffix)
    set(objects)
    foreach(part zrk_core zrk_formats ZRKGraphModel ZRKGraphComponents zrkhost)
        list(APPEND objects $<TARGET_OBJECTS:${part}${suffix}>)
    endforeach()
    add_library(${target} SHARED ${objects})
    target_link_libraries(${target} PUBLIC $<BUILD_INTERFACE:zrk_flags> Threads::Threads tl::expected
            nlohmann_json::nlohmann_json
        PRIVATE fmt::fmt $<BUILD_INTERFACE:PkgConfig::SPNG> ZLIB::ZLIB ${CMAKE_DL_LIBS})
    foreach(kind JPEG TIFF)
        if(TARGET ${kind}::${kind})
            target_link_libraries(${target} PRIVATE ${kind}::${kind})
        endif()
    endforeach()
    if(ZRK_SIMD)
        target_compile_definitions(${target} PUBLIC $<BUILD_INTERFACE:ZRK_SIMD=1>)
        target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:PkgConfig::SLEEF>)
    endif()
    zrk_shared_library(${target} zrk)
endfunction()

zrk_shared_from(zrk_shared "")
if(ZRK_V4)
    zrk_shared_from(zrk_shared_v4 _v4)
    set_target_properties(zrk_shared_v4 PROPERTIES
        LIBRARY_OUTPUT_DIRECTORY "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/glibc-hwcaps/x86-64-v4")
endif()
if(BUILD_SHARED_LIBS)
    set(ZRK_HOST zrk_shared)
endif()
