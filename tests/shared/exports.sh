#!/bin/sh
# SPDX-License-Identifier: MIT
# What a shared library exports is ours, and nothing internal: exports.sh LIBRARY
set -eu
names=$(nm -DC --defined-only "$1" | cut -d' ' -f3-)
echo "$names" | grep -q '^idlewyn::RelayClient::pair(' || { echo "no operation is exported"; exit 1; }
echo "$names" | grep -q '^vtable for idlewyn::LiveSessionService' || { echo "no vtable is"; exit 1; }
if echo "$names" | grep -v 'idlewyn::'; then echo "these are not ours"; exit 1; fi
if echo "$names" | grep 'internal::'; then echo "these are internal"; exit 1; fi
