#!/bin/sh
# Prints the code size of the static engine library (.text and its
# per-function sections, in bytes) built at -O2 and -Os for x86-64 and, where
# its cross compiler is installed, ARM64. Builds the library alone under
# build/size-*. Usage: bench/code_size.sh
set -e
cd "$(dirname "$0")/.."
text_bytes() {
    # size -A lists every member's sections; .text and .text.* are code.
    "$2" -A "$1" | awk '$1 ~ /^\.text/ { sum += $2 } END { print sum }'
}
echo "| target | -O2 | -Os |"
echo "|---|---:|---:|"
for target in x86-64 arm64; do
    toolchain= size=size
    if [ "$target" = arm64 ]; then
        command -v aarch64-linux-gnu-g++ >/dev/null 2>&1 || continue
        toolchain=-DCMAKE_TOOLCHAIN_FILE=$PWD/cmake/aarch64-linux-gnu.cmake size=aarch64-linux-gnu-size
    fi
    row="| $target"
    for level in O2 Os; do
        dir=build/size-$target-$level
        cmake -S . -B "$dir" $toolchain -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-$level -DNDEBUG" \
            -DE3D_BUILD_TESTS=OFF -DE3D_BUILD_BENCH=OFF -DE3D_BUILD_EXAMPLES=OFF >/dev/null
        cmake --build "$dir" --target engine3d_static -j 2 >/dev/null
        row="$row | $(text_bytes "$dir/libengine3d.a" "$size")"
    done
    echo "$row |"
done
