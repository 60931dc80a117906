#!/usr/bin/env bash
# usage: check_daemon_links.sh PROGRAM
#
# The daemon's memory depends on which libraries it loads: the lite protobuf runtime and unsecured gRPC only, also
# by way of what it links. One line for each that is wrong, and status 1.
set -euo pipefail

direct=$(readelf --dynamic "$1" | grep NEEDED)
loaded=$(ldd "$1")
wrong=0
for library in libprotobuf-lite libgrpc++_unsecure; do
  grep -qF "[$library.so" <<< "$direct" || { echo "$1 does not name $library.so"; wrong=1; }
done
for library in libprotobuf libgrpc libgrpc++ libssl; do
  ! grep -E "^[[:space:]]*${library//+/\\+}\.so" <<< "$loaded" || { echo "$1 loads $library.so"; wrong=1; }
done
exit "$wrong"
