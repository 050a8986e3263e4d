#!/bin/sh
# A gate: the games of a match, shared out by pairs of one opening; gathering prints their number,
# the score, and Elo with its error.
#
# Options are those of match. --games is that of the whole match. A shard that was broken off goes
# on with its games.
set -eu
job_arguments='OPTIONS-OF-MATCH'
. "$(dirname "$0")/job.sh"

if [ "$step" = shard ]; then
    exec "$build/Training/match" "$@" --shard "$shard" --shards "$shards" \
        --out "$out/shard-$shard.games"
fi
with_all .games "$build/Training/match" --sum
