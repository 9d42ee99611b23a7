#!/bin/sh
# Compiler launcher of the kernel passes. GCC appends to the file named by
# -fopt-info-vec-optimized=, so every compilation empties it first: the
# report must describe the object as it is now, not every build before it.
for arg in "$@"; do
    case "$arg" in
    -fopt-info-vec-optimized=*) : >"${arg#*=}" ;;
    esac
done
exec "$@"
