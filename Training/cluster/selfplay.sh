#!/bin/sh
# Self-play: shard I plays with seed SEED + I, in OUT/shard-I; gathering links all files into OUT.
#
# Options are those of selfplay; goals (--games, --positions, --minutes) are each shard's own.
set -eu
job_arguments='SEED [options of selfplay]'
. "$(dirname "$0")/job.sh"
[ $# -ge 1 ] || usage
seed=$1
shift

if [ "$step" = shard ]; then
    exec "$build/Training/selfplay" --threads 1 "$@" \
        --out "$out/shard-$shard" --seed $((seed + shard))
fi
with_all '' python3 "$here/gather_ply.py" "$out"
