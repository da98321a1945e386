# Sourced by the measuring scripts: one program of bench/, built Release.
# bench_program_exec TARGET ARGS...: installs what is missing, builds TARGET
# in BUILD_DIR (build-bench) without the tests, and runs it with ARGS as root
# (the account record is root's), through sudo when not root already.
bench_program_exec() {
    local target=$1
    shift
    bash scripts/install-deps.sh
    local build_dir=${BUILD_DIR:-build-bench}
    cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DQUILKOVA_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build_dir" -j"$(nproc)" --target "$target" >/dev/null
    [[ $(id -u) -eq 0 ]] || exec sudo -E "$build_dir/bench/$target" "$@"
    exec "$build_dir/bench/$target" "$@"
}
