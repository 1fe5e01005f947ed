#!/bin/sh
# SPDX-License-Identifier: MIT
# A shared library as others see it: library.sh FILE VERSION LOADS NAME
#
# Its so-name ends in VERSION; besides the C and C++ runtimes it loads the libraries that the
# expression LOADS fits, and nothing else; what it exports is ours and not internal, and NAME is
# among it.
set -eu
fail() { echo "$(basename "$1"): $2"; exit 1; }
dynamic=$(readelf -dW "$1")
soname=$(echo "$dynamic" | sed -n 's/.*soname: \[\(.*\)\]/\1/p')
[ "$soname" = "$(basename "$1" | sed 's/\.so.*//').so.$2" ] || fail "$1" "its so-name is $soname"

loads=$(echo "$dynamic" | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p' |
  grep -vE '^(lib(stdc\+\+|m|gcc_s|c)\.so|ld-linux)|^lib(clang_rt|[atu]san|ubsan)')
others=$(echo "$loads" | grep -vE "^lib($3)(-[0-9.]+)?\.so") && fail "$1" "it also loads $others"

names=$(nm -DC --defined-only "$1" | cut -d' ' -f3-)
echo "$names" | grep -qF "$4" || fail "$1" "$4 is not exported"
# std::hash of our types and type information are ours too.
ours='^(idlewyn::|std::hash<idlewyn::|(vtable|VTT|typeinfo|typeinfo name) for idlewyn::)'
others=$(echo "$names" | grep -vE "$ours") && fail "$1" "these are not ours: $others"
# Parameters may be pointers to what is internal.
internal=$(echo "$names" | sed 's/(.*//' | grep 'internal::') && fail "$1" "these are internal: $internal"
exit 0
