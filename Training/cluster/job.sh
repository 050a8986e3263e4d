# job.sh: how the jobs of this folder are called; each of them reads it first.
#
#   JOB.sh shard I N OUT ...    does part I of N, I from 0 on, with all it writes below OUT
#   JOB.sh gather N OUT ...     when all parts are done: puts them together in OUT
#
# The arguments behind OUT are the same in all calls. Sets $step, $shard (when sharding), $shards,
# $out, $here (this folder) and $build (folder of the programs, or what MIRD_BUILD says), and leaves
# the arguments behind OUT. Exit status of a job: 0 when its part is whole.

# shellcheck shell=sh disable=SC2034,SC2154 # the jobs set and use these
usage() {
    echo "usage: $0 shard I N OUT $job_arguments" >&2
    echo "       $0 gather N OUT $job_arguments" >&2
    exit 2
}

here=$(cd "$(dirname "$0")" && pwd)
build=${MIRD_BUILD:-$(cd "$here/../.." && pwd)/build/release}

step=${1:-}
case $step in
    shard) [ $# -ge 4 ] || usage; shard=$2; shift 2 ;;
    gather) [ $# -ge 3 ] || usage; shift ;;
    *) usage ;;
esac
shards=$1
out=$2
shift 2
mkdir -p "$out"

# Calls a command with OUT/shard-0ENDING to the last shard's behind its arguments.
with_all() {
    ending=$1
    shift
    number=0
    while [ "$number" -lt "$shards" ]; do
        set -- "$@" "$out/shard-$number$ending"
        number=$((number + 1))
    done
    "$@"
}
