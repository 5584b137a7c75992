# ZRK_PYTHON_INTERPRETER: a Python with headers and NumPy, the system's own before others, as the packages of Debian are
# for that; and pybind11 for it. Sets ZRK_PYTHON to OFF where something is missing.
find_program(ZRK_PYTHON_INTERPRETER NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH DOC "Python that the module is built for")
find_program(ZRK_PYTHON_INTERPRETER NAMES python3)
if(ZRK_PYTHON_INTERPRETER)
    execute_process(COMMAND "${ZRK_PYTHON_INTERPRETER}" -c "import numpy" RESULT_VARIABLE numpy_missing
        OUTPUT_QUIET ERROR_QUIET)
    set(PYTHON_EXECUTABLE "${ZRK_PYTHON_INTERPRETER}")
    find_package(pybind11 2.10 QUIET)
endif()
if(NOT pybind11_FOUND OR numpy_missing OR ZRK_SANITIZE)
    message(STATUS "No Python module: it needs pybind11, NumPy and a build without sanitizers "
        "(`tools/install-dependencies python` installs what is missing)")
    set(ZRK_PYTHON OFF)
endif()
