#!/bin/sh
# Rescoring, or neighbours: shard I works at the files I, I + N ... of the folder IN, one after the
# other, in OUT/shard-I; gathering links the results into OUT, each under its file's name.
#
# Options are those of relabel.
set -eu
job_arguments='IN [options of relabel]'
. "$(dirname "$0")/job.sh"
[ $# -ge 1 ] || usage
in=$1
shift

[ "$step" = shard ] || set --
number=0
for file in "$in"/*.ply; do
    [ -e "$file" ] || { echo "no files in $in" >&2; exit 1; }
    part=$((number % shards))
    number=$((number + 1))
    result=$out/shard-$part/${file##*/}
    if [ "$step" = gather ]; then
        set -- "$@" "$result"
    elif [ "$part" = "$shard" ]; then
        mkdir -p "$out/shard-$part"
        "$build/Training/relabel" --threads 1 "$@" "$file" "$result"
    fi
done
if [ "$step" = gather ]; then python3 "$here/gather_ply.py" "$out" "$@"; fi
