#!/bin/sh
# A test suite: mird -anepd, the lines of the EPD file FILE shared out in N runs of them; gathering
# writes OUT/analysis.epd and prints the sums.
#
# Options are those of mird, with a limit. With one thread, which is the default, a line's analysis
# depends on nothing but the line, since the hash table is emptied before each: the result is that
# of the whole file, line for line. The path of OUT is one of at most 120 characters.
set -eu
job_arguments='FILE -d PLIES|-n NODES [options of mird]'
. "$(dirname "$0")/job.sh"
[ $# -ge 3 ] || usage
file=$1
shift
case " $* " in *' -d '* | *' -n '*) ;; *) usage ;; esac

if [ "$step" = shard ]; then
    name=$out/shard-$shard
    rm -f "$name.result"
    split -n "l/$((shard + 1))/$shards" "$file" >"$name.epd"
    "$build/mird" -anepd "$name.epd" -o "$name.new" "$@" </dev/null >"$name.totals"
    mv "$name.new" "$name.result"
    exit
fi

if ! with_all .epd cat | cmp -s - "$file"; then
    echo "the shards in $out are not those of $file" >&2
    exit 1
fi
with_all .result cat >"$out/analysis.new"
mv "$out/analysis.new" "$out/analysis.epd"
with_all .totals cat | awk '
    /correct best moves$/ { found += $1; positions += $3 }
    /^total nodes=/       { nodes += $3 }
    /^total time=/        { seconds += $3 }
    /^score=/             { points += $2; most += $4 }
    END {
        printf "%d / %d correct best moves\n", found, positions
        printf "total nodes= %.0f\ntotal time= %.2f seconds\n", nodes, seconds
        printf "score= %d / %d\n", points, most
    }'
