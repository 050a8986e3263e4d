#!/bin/sh
# Runs a job of this folder on several machines by GNU parallel and ssh, waits for its end and
# gathers.
#
#   hosts.sh HOSTS SHARDS JOB OUT ARGUMENTS...    JOB: selfplay, relabel, gate or suite
#
# HOSTS is what --sshlogin of parallel takes: names with commas between them, ":" for this machine.
# Each machine works at as many shards at once as it has cores; other options of parallel go into
# its variable PARALLEL. What shard I prints stands in OUT/shard-I.log. Machines must see this
# folder, the programs and OUT under the same names, by NFS or the like.
set -eu
usage='hosts.sh HOSTS SHARDS JOB OUT ARGUMENTS...'
[ $# -ge 1 ] || { echo "usage: $usage" >&2; exit 2; }
hosts=$1
shift
. "$(dirname "$0")/launch.sh"
seq 0 $((shards - 1)) | parallel --sshlogin "$hosts" --halt soon,fail=1 -I '{shard}' \
    "$call shard {shard} $shards $arguments >$(quote "$out/shard-{shard}.log")2>&1"
gather "$@"
