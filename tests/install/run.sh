#!/usr/bin/env bash
# Installs the build tree into a prefix of its own, moves the prefix, checks that every installed header and the
# README's example compile, and builds and runs the consumer against it, by pkg-config and by find_package.
# run.sh BUILD-TREE CMAKE C-COMPILER C++-COMPILER [FLAGS]
set -euo pipefail
build=$1 cmake=$2 cc=$3 cxx=$4
read -ra flags <<<"${5-}"
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
strict=(-Wall -Wextra -Wpedantic -Werror)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$cmake" --install "$build" --prefix "$work/first" >"$work/install.log" || { cat "$work/install.log" >&2; exit 1; }
mv "$work/first" "$work/moved" # nothing may depend on where it was installed
prefix=$work/moved

pc=$(find "$prefix" -name kbann.pc)
export PKG_CONFIG_PATH=${pc%/kbann.pc}
libdir=${PKG_CONFIG_PATH%/pkgconfig}
include=$(pkg-config --variable=includedir kbann)

cxx_only=" kbann/error_table.h kbann/object_types.h kbann/stored_fields.h "
count=0
while IFS= read -r header; do
    name=${header#"$include"/}
    echo "#include <$name>" >"$work/one.cpp"
    "$cxx" -std=c++20 "${strict[@]}" -Wconversion -fsyntax-only "-I$include" "$work/one.cpp"
    if [[ $cxx_only != *" $name "* ]]; then
        cp "$work/one.cpp" "$work/one.c"
        "$cc" -std=c11 "${strict[@]}" -fsyntax-only "-I$include" "$work/one.c"
    fi
    count=$((count + 1))
done < <(find "$include" -name '*.h' | sort)
[[ $count -ge 15 ]] || { echo "only $count headers are installed" >&2; exit 1; }

# What the README shows has to be true.
awk '/^```c$/ {shown = 1; next} /^```/ {shown = 0} shown' "$here/../../README.md" >"$work/readme.c"
[[ -s $work/readme.c ]] || { echo "README.md has no example in C" >&2; exit 1; }
"$cc" -std=c11 "${strict[@]}" -fsyntax-only "-I$include" "$work/readme.c"

read -ra package < <(pkg-config --cflags --libs kbann)
"$cc" -std=c11 "${strict[@]}" "${flags[@]}" "$here/consumer.c" -o "$work/by_pkg_config" "${package[@]}" "-Wl,-rpath,$libdir"
"$work/by_pkg_config"

"$cmake" -S "$here/package" -B "$work/build" -G Ninja "-DCMAKE_PREFIX_PATH=$prefix" "-DCMAKE_C_COMPILER=$cc" \
    "-DCMAKE_C_FLAGS=${strict[*]} ${flags[*]}" >"$work/configure.log" || { cat "$work/configure.log" >&2; exit 1; }
"$cmake" --build "$work/build"
"$work/build/consumer"

if [[ -x $prefix/bin/kann ]]; then "$prefix/bin/kann" --version >/dev/null; fi
