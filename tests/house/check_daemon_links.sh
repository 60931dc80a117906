#!/usr/bin/env bash
# usage: check_daemon_links.sh PROGRAM
#
# The daemon's memory depends on which libraries it loads: the lite protobuf runtime and unsecured gRPC only, also
# by way of what it links. libssl may be there by way of libcurl, as Debian builds it, and of nothing else. One line for
# each that is wrong, and status 1.
set -euo pipefail

direct=$(readelf --dynamic "$1" | grep NEEDED)
loaded=$(ldd "$1")
wrong=0
for library in libprotobuf-lite libgrpc++_unsecure; do
  grep -qF "[$library.so" <<< "$direct" || { echo "$1 does not name $library.so"; wrong=1; }
done
! grep -F "[libssl.so" <<< "$direct" || { echo "$1 names libssl.so"; wrong=1; }
grep -qF "[libcurl.so" <<< "$direct" && throughCurl="" || throughCurl=libssl
for library in libprotobuf libgrpc libgrpc++ $throughCurl; do
  ! grep -E "^[[:space:]]*${library//+/\\+}\.so" <<< "$loaded" || { echo "$1 loads $library.so"; wrong=1; }
done
exit "$wrong"
