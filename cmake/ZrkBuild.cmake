# What every target of the project shares: flags, and the shape of a library and of its tests.

# Flags that are part of the results: no fast-math, no contraction of multiply-add.
add_library(zrk_flags INTERFACE)
target_include_directories(zrk_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(zrk_flags INTERFACE -fno-math-errno -fno-trapping-math -ffp-contract=off)
# Calls within a library stay within it.
target_compile_options(zrk_flags INTERFACE -fvisibility=hidden -fvisibility-inlines-hidden -fno-semantic-interposition)
if(ZRK_ARCH)
    # A target with the property ZRK_TARGET_ARCH is compiled for that processor instead.
    set(target_arch "$<TARGET_PROPERTY:ZRK_TARGET_ARCH>")
    target_compile_options(zrk_flags INTERFACE "-march=$<IF:$<BOOL:${target_arch}>,${target_arch},${ZRK_ARCH}>")
endif()
if(ZRK_SANITIZE)
    target_compile_options(zrk_flags INTERFACE "-fsanitize=${ZRK_SANITIZE}" -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(zrk_flags INTERFACE "-fsanitize=${ZRK_SANITIZE}")
endif()

add_library(zrk_warnings INTERFACE)
# -Wno-psabi: passing wide vectors by value is internal to this build.
# -Wno-maybe-uninitialized: GCC 12 reports its own AVX-512 headers.
# -Wno-restrict: optimising fully, it reports its own strings (its bug 105651).
set(is_gcc "$<CXX_COMPILER_ID:GNU>")
target_compile_options(zrk_warnings INTERFACE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
    -Woverloaded-virtual -Wno-psabi $<${is_gcc}:-Wno-maybe-uninitialized>
    $<$<AND:${is_gcc},$<CONFIG:Release>>:-Wno-restrict>)
if(ZRK_WERROR)
    target_compile_options(zrk_warnings INTERFACE -Werror)
endif()

# With ZRK_UNITY the sources of a folder are compiled `count` together, in a third of the time: most of it goes
# into headers and templates that they share.
function(zrk_compile_together target count)
    if(NOT ZRK_UNITY)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source ${sources})
        get_filename_component(source "${source}" ABSOLUTE)
        cmake_path(GET source PARENT_PATH folder)
        cmake_path(GET folder FILENAME folder)
        math(EXPR group "${count_${folder}} + 0")
        math(EXPR count_${folder} "${group} + 1")
        math(EXPR group "${group} / ${count}")
        set_source_files_properties("${source}" PROPERTIES UNITY_GROUP ${folder}_${group})
    endforeach()
endfunction()

# zrk_library(NAME SOURCES... [PUBLIC libs...] [PRIVATE libs...]): a static library. Where the build makes code for newer
# processors too (ZRK_V4), NAME_v4 are its objects for these.
function(zrk_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    set(variants ${name})
    if(ZRK_V4)
        add_library(${name}_v4 OBJECT EXCLUDE_FROM_ALL ${ARG_SOURCES})
        set_target_properties(${name}_v4 PROPERTIES ZRK_TARGET_ARCH x86-64-v4)
        list(APPEND variants ${name}_v4)
    endif()
    foreach(variant ${variants})
        target_link_libraries(${variant} PUBLIC $<BUILD_INTERFACE:zrk_flags> ${ARG_PUBLIC}
            PRIVATE $<BUILD_INTERFACE:zrk_warnings> ${ARG_PRIVATE})
        set_target_properties(${variant} PROPERTIES POSITION_INDEPENDENT_CODE ON)
        zrk_compile_together(${variant} 8)
    endforeach()
endfunction()

# zrk_tests(NAME DIR libs...): one test program from DIR/*_test.cpp.
function(zrk_tests name dir)
    if(NOT ZRK_TESTS)
        return()
    endif()
    file(GLOB sources CONFIGURE_DEPENDS "${dir}/*_test.cpp")
    if(NOT sources)
        return()
    endif()
    add_executable(${name} ${sources})
    zrk_compile_together(${name} 12)
    # What is tested stays optimised; the tests themselves compile in two thirds of the time. What sanitizers add would make
    # it four times as long.
    set(optimisation -O1)
    if(ZRK_SANITIZE)
        set(optimisation -O0)
    endif()
    target_compile_options(${name} PRIVATE ${optimisation})
    target_link_libraries(${name} PRIVATE ${ARGN} zrk_testing zrk_warnings GTest::gtest GTest::gmock GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES PROPERTIES TIMEOUT 300)
endfunction()

# zrk_manuals(OUTPUT FOLDER...): has OUTPUT made, a source with the manuals of all component classes whose headers lie in the
# families of these folders. Of headers of the same name in several folders the first one counts.
function(zrk_manuals output)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    set(headers "${PROJECT_SOURCE_DIR}/model/fall_off_function.h" "${PROJECT_SOURCE_DIR}/model/file_import.h")
    set(names)
    foreach(folder ${ARGN})
        file(GLOB found RELATIVE "${folder}" CONFIGURE_DEPENDS "${folder}/*.h" "${folder}/*/*.h")
        list(REMOVE_ITEM found ${names})
        list(APPEND names ${found})
        list(TRANSFORM found PREPEND "${folder}/")
        list(APPEND headers ${found})
    endforeach()
    list(FILTER headers EXCLUDE REGEX "_formula\\.h$")
    set(tool "${PROJECT_SOURCE_DIR}/tools/make-manuals")
    add_custom_command(OUTPUT "${output}"
        COMMAND Python3::Interpreter -B "${tool}" "${output}" ${headers}
        DEPENDS "${tool}" ${headers}
        COMMENT "Making manuals from the comments of the components"
        VERBATIM)
endfunction()

# Target check_headers, not part of all: compiles each header by itself, so that none leans on what happens to be included before it.
function(zrk_check_headers)
    set(sources)
    foreach(folder ${ARGN})
        file(GLOB_RECURSE headers RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${folder}/*.h")
        foreach(header ${headers})
            if(NOT header MATCHES "/tests/")
                string(MAKE_C_IDENTIFIER "${header}" stem)
                set(source "${CMAKE_BINARY_DIR}/headers/${stem}.cpp")
                file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"${header}\"\n#include \"${header}\"\n" @ONLY)
                list(APPEND sources "${source}")
            endif()
        endforeach()
    endforeach()
    add_library(check_headers OBJECT EXCLUDE_FROM_ALL ${sources})
    target_compile_options(check_headers PRIVATE -O0 -g0)
    target_link_libraries(check_headers PRIVATE zrkhost zrk_warnings fmt::fmt PkgConfig::SPNG)
    if(ZRK_QT)
        target_link_libraries(check_headers PRIVATE Qt::Widgets)
        target_compile_definitions(check_headers PRIVATE QT_NO_KEYWORDS)
    endif()
    target_include_directories(check_headers SYSTEM PRIVATE "${POCKETFFT_INCLUDE_DIR}")
endfunction()
