# Sourced by ./run, ./test and ./bench from the project's root.

# What `build` asks tools/install-dependencies for beyond its own list; `qt` for what has windows.
more_dependencies=()

# build PRESET [TARGET...]: dependencies, configuration and build of one preset.
build() {
    local preset=$1
    shift
    tools/install-dependencies "${more_dependencies[@]}"
    local launcher=()
    if command -v ccache >/dev/null; then
        launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    fi
    # Quiet unless it fails.
    local log
    log=$(mktemp)
    if ! cmake --preset "$preset" "${launcher[@]}" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        return 1
    fi
    rm -f "$log"
    local targets=()
    if [ $# -gt 0 ]; then
        targets=(--target "$@")
    fi
    cmake --build --preset "$preset" "${targets[@]}"
}
