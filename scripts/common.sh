# Shared by the entry points: installs what is missing and builds. Source it, don't run it.
set -euo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
JOBS="$( (command -v nproc >/dev/null && nproc) || sysctl -n hw.ncpu 2>/dev/null || echo 2)"

install_dependencies() {
    if [[ "$(uname)" == "Darwin" ]]; then
        if ! command -v brew >/dev/null; then
            echo "Homebrew is needed on macOS: https://brew.sh" >&2
            exit 1
        fi
        local pkg
        for pkg in cmake ninja pkg-config qt@5 googletest little-cms2 pybind11; do
            brew list "$pkg" >/dev/null 2>&1 || brew install "$pkg"
        done
        export CMAKE_PREFIX_PATH="$(brew --prefix qt@5)${CMAKE_PREFIX_PATH:+:$CMAKE_PREFIX_PATH}"
        return
    fi
    local wanted=(cmake ninja-build g++ make pkg-config binutils qtbase5-dev libqt5serialport5-dev
        liblcms2-dev libgtest-dev libgmock-dev locales python3-dev python3-pytest pybind11-dev
        python3-pybind11 "$@")
    local missing=() pkg
    for pkg in "${wanted[@]}"; do
        dpkg -s "$pkg" >/dev/null 2>&1 || missing+=("$pkg")
    done
    if ((${#missing[@]})); then
        local sudo=()
        [[ $EUID -ne 0 ]] && sudo=(sudo)
        echo "Installing: ${missing[*]}"
        "${sudo[@]}" apt-get update -qq
        DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq "${missing[@]}" >/dev/null
    fi
    ensure_comma_locale
}

# A locale whose decimal separator is a comma, for the test that instrument numbers are read the same
# under it. A fresh Debian or Ubuntu has none; localedef makes one without editing /etc/locale.gen.
ensure_comma_locale() {
    if locale -a 2>/dev/null | grep -qiE '^de_DE\.utf-?8$'; then
        return
    fi
    local sudo=()
    [[ $EUID -ne 0 ]] && sudo=(sudo)
    echo "Generating the de_DE.UTF-8 locale"
    "${sudo[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8
}

# configure_and_build BUILD_DIR [cmake options...] [-- targets...]
# Configures once (later calls only apply the options given) and builds the targets named after
# "--", or everything.
configure_and_build() {
    local dir="$1"
    shift
    local options=() targets=()
    while (($#)); do
        if [[ "$1" == "--" ]]; then
            shift
            targets=("$@")
            break
        fi
        options+=("$1")
        shift
    done
    local generator=()
    command -v ninja >/dev/null && generator=(-G Ninja)
    if [[ ! -f "$dir/CMakeCache.txt" ]]; then
        cmake -S "$ROOT" -B "$dir" "${generator[@]}" "${options[@]}"
    else
        cmake -S "$ROOT" -B "$dir" "${options[@]}" >/dev/null
    fi
    local build=(cmake --build "$dir" -j "$JOBS")
    ((${#targets[@]})) && build+=(--target "${targets[@]}")
    "${build[@]}"
}
