#!/usr/bin/env bash
# cluster.sh PYTHON TEST: the tests of a cluster, in an empty network namespace. Skipped where there
# is none to be had, or no Dask.
here=$(dirname "${BASH_SOURCE[0]}")
. "$here/../host/empty_network.sh"
empty_network --mount true 2>/dev/null || {
    echo "skipped: this machine cannot make a network namespace"
    exit 77
}
"$1" -c 'import distributed' 2>/dev/null || {
    echo "skipped: there is no python3-distributed"
    exit 77
}
empty_network --mount "$1" -m pytest -q "$2"
