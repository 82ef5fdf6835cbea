#!/usr/bin/env bash
# The Windows leg of CI: both mingw-w64 cross builds (the 32-bit
# ZTKRN10N.dll with its tests linked, and the 64-bit library, DLL and test
# suite), the 32-bit DLL's export table against core/exports.def, the
# record size of the 32-bit build, and the test programs under Wine: wine64
# for the 64-bit build, and wine32 for the 32-bit one where its i386
# packages install. Installs what it needs with apt-get (root), once.
#
#   bash .ci/windows.sh        (ZTKRN_WINE32=skip: don't try wine32)
#
# Prints a summary and exits non-zero when any step fails.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
root=$PWD
logs=$root/build-windows-logs
rm -rf "$logs"
mkdir -p "$logs"
started=$SECONDS
summary=()
failures=0
total_passed=0
total_failed=0

note() { printf '== %s\n' "$*"; }

record() { # status step seconds [detail]
    summary+=("$(printf '%-5s %-44s %5ss  %s' "$1" "$2" "$3" "${4:-}")")
    if [ "$1" = FAIL ]; then failures=$((failures + 1)); fi
}

# step NAME LOG COMMAND...: runs the command with its output in LOG.
step() {
    local name=$1 log=$2 t0=$SECONDS
    shift 2
    note "$name"
    if "$@" >"$log" 2>&1; then
        record PASS "$name" $((SECONDS - t0))
        return 0
    fi
    tail -n 40 "$log"
    record FAIL "$name" $((SECONDS - t0)) "log: ${log#"$root"/}"
    return 1
}

# ---- tools ---------------------------------------------------------------------

apt_install() {
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq \
        --no-install-recommends "$@" </dev/null
}

install_tools() {
    local need=()
    command -v cmake >/dev/null || need+=(cmake)
    command -v ninja >/dev/null || need+=(ninja-build)
    command -v i686-w64-mingw32-g++-posix >/dev/null ||
        need+=(g++-mingw-w64-i686-posix)
    command -v x86_64-w64-mingw32-g++-posix >/dev/null ||
        need+=(g++-mingw-w64-x86-64-posix)
    [ -x /usr/lib/wine/wine64 ] || need+=(wine64)
    [ -d /usr/src/googletest ] || need+=(googletest)
    [ ${#need[@]} -eq 0 ] && return 0
    # A mirror in the middle of a sync can fail one index; the rest serve.
    apt-get update -qq || true
    apt_install "${need[@]}"
}

# The i386 packages of wine32 must match the installed 64-bit libraries
# version for version, which a mirror doesn't always allow. When they won't
# install, the architecture is taken away again so that later apt runs
# aren't troubled by it.
install_wine32() {
    [ -x /usr/lib/wine/wine ] && return 0
    local added=0
    if ! dpkg --print-foreign-architectures | grep -qx i386; then
        dpkg --add-architecture i386 || return 1
        added=1
    fi
    apt-get update -qq || true
    if apt_install wine32:i386; then
        return 0
    fi
    if [ $added -eq 1 ]; then
        dpkg --remove-architecture i386 || true
    fi
    return 1
}

# ---- builds -----------------------------------------------------------------------

# The native build's optimisation, without debug information: that halves
# the time spent linking the static test programs.
cross_build() { # build-dir toolchain-file
    cmake -S . -B "$1" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$2" \
        -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG" \
        -DCMAKE_C_FLAGS_RELWITHDEBINFO="-O2 -DNDEBUG" \
        -DZTKRN_BENCH=OFF -DZTKRN_GTEST_FROM_SOURCE=ON &&
        cmake --build "$1" -j 2
}

check_exports() {
    cmake -DOBJDUMP=i686-w64-mingw32-objdump \
        -DLIBRARY=build-win32/ZTKRN10N.dll \
        -DTABLE=core/exports.def -DHEADER=include/ztkrn.h \
        -P tests/check_pe_exports.cmake
}

# The header asserts it for every 32-bit translation unit; this asks the
# DLL's own compiler once more, on its own.
check_record() {
    printf '%s\n' '#include "ztkrn.h"' \
        '_Static_assert(sizeof(BitmapHandle) == 136, "34 words");' |
        i686-w64-mingw32-gcc-posix -std=c99 -Iinclude -fsyntax-only -x c -
}

# ---- Wine ------------------------------------------------------------------------

wine_prefix=""
stop_wine() {
    if [ -n "$wine_prefix" ]; then
        WINEPREFIX=$wine_prefix /usr/lib/wine/wineserver -k 2>/dev/null || true
        rm -rf "$wine_prefix"
    fi
}
trap stop_wine EXIT

start_wine() {
    wine_prefix=$(mktemp -d /tmp/ztkrn-wine.XXXXXX)
    export WINEPREFIX=$wine_prefix WINEARCH=win64 WINEDEBUG=-all
    # No Mono or Gecko prompts while the prefix is made.
    export WINEDLLOVERRIDES="mscoree,mshtml="
    unset DISPLAY WAYLAND_DISPLAY
}

# wine_suite LOADER BUILD-DIR LABEL: every test program of the build, each
# run whole; adds its counts to the totals.
wine_suite() {
    local loader=$1 dir=$2 label=$3 t0=$SECONDS
    local passed=0 failed=0 broken=0 exe log name n
    note "tests under $label"
    while IFS= read -r exe; do
        name=$(basename "$exe" .exe)
        log=$logs/$label-$name.log
        if ! (cd "$(dirname "$exe")" &&
            timeout 900 "$loader" "./$name.exe" --gtest_color=no) >"$log" 2>&1; then
            broken=1
        fi
        n=$(sed -n 's/^\[  PASSED  \] \([0-9]*\) test.*/\1/p' "$log" | tail -n 1)
        passed=$((passed + ${n:-0}))
        n=$(sed -n 's/^\[  FAILED  \] \([0-9]*\) test.*/\1/p' "$log" | tail -n 1)
        failed=$((failed + ${n:-0}))
        if ! grep -q '^\[  PASSED  \]' "$log"; then
            # A program that died reports no count of its own.
            failed=$((failed + 1))
            tail -n 30 "$log"
        fi
        grep '^\[  FAILED  \] [A-Za-z0-9_./]*$' "$log" || true
    done < <(find "$dir/tests" -name '*_tests.exe' | sort)
    total_passed=$((total_passed + passed))
    total_failed=$((total_failed + failed))
    if [ $failed -eq 0 ] && [ $broken -eq 0 ] && [ $passed -gt 0 ]; then
        record PASS "test suite under $label" $((SECONDS - t0)) \
            "$passed passed, 0 failed"
    else
        record FAIL "test suite under $label" $((SECONDS - t0)) \
            "$passed passed, $failed failed; logs: build-windows-logs/$label-*"
    fi
}

# ---- the run -------------------------------------------------------------------------

step "install mingw-w64 and wine64" "$logs/install.log" install_tools
wine32=no
if [ "${ZTKRN_WINE32:-}" != skip ]; then
    t0=$SECONDS
    note "install wine32 (i386)"
    if install_wine32 >"$logs/install-wine32.log" 2>&1; then
        wine32=yes
        record PASS "install wine32 (i386)" $((SECONDS - t0))
    else
        record SKIP "install wine32 (i386)" $((SECONDS - t0)) \
            "its packages don't install here: 32-bit tests link-checked only"
    fi
fi

built64=no
built32=no
step "x86-64 build: library, DLL, test suite" "$logs/build-win64.log" \
    cross_build build-win64 mingw-w64-x86_64.cmake && built64=yes
step "i686 build: ZTKRN10N.dll, tests linked" "$logs/build-win32.log" \
    cross_build build-win32 mingw-w64-i686.cmake && built32=yes
if [ $built32 = yes ]; then
    step "i686 DLL exports equal the table" "$logs/exports.log" check_exports &&
        summary[-1]+=" $(grep -o 'entry point.*' "$logs/exports.log")"
fi
step "i686 record is 136 bytes" "$logs/record.log" check_record

if [ $built64 = yes ]; then
    start_wine
    wine_suite /usr/lib/wine/wine64 build-win64 wine64
fi
if [ $built32 = yes ] && [ $wine32 = yes ]; then
    [ -n "$wine_prefix" ] || start_wine
    wine_suite /usr/lib/wine/wine build-win32 wine32
fi

echo
note "Windows summary ($((SECONDS - started)) s)"
printf '%s\n' "${summary[@]}"
echo "windows: $total_passed passed, $total_failed failed"
[ $failures -eq 0 ] && [ $total_failed -eq 0 ]
